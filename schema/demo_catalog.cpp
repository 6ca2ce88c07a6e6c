#include "schema/demo_catalog.hpp"

namespace nrw::schema {
namespace {

const std::vector<std::string> kPersonKinds = {"Comércio de",  "Distribuidora de", "Atacado de",
                                               "Indústria de", "Transportes",      "Serviços de"};
const std::vector<std::string> kTrades = {
    "Alimentos", "Bebidas",    "Ferragens",           "Papelaria",  "Autopeças",
    "Tecidos",   "Embalagens", "Materiais Elétricos", "Cosméticos", "Informática"};
const std::vector<std::string> kFamilies = {"Silva",     "Souza",   "Oliveira", "Pereira",
                                            "Costa",     "Almeida", "Ribeiro",  "Carvalho",
                                            "Gonçalves", "Araújo",  "Lima",     "Barbosa"};
const std::vector<std::string> kGivenNames = {"João",    "Maria",     "José",      "Ana",
                                              "Antônio", "Francisca", "Sebastião", "Conceição"};
const std::vector<std::string> kSuffixes = {"Ltda", "S.A.", "EIRELI", "ME"};
const std::vector<std::string> kProducts = {
    "Arroz tipo 1",  "Feijão carioca",    "Óleo de soja",   "Parafuso sextavado", "Cabo flexível",
    "Papel sulfite", "Detergente neutro", "Café torrado",   "Açúcar cristal",     "Tinta acrílica",
    "Lâmpada LED",   "Caixa de papelão",  "Filtro de óleo", "Camiseta algodão",   "Shampoo"};
const std::vector<std::string> kPackages = {"1 kg",       "5 kg",        "500 g", "cx 12 un",
                                            "pct 100 un", "galão 3,6 l", "un",    "rolo 100 m"};
const std::vector<std::string> kObservations = {
    "Pedido de compra nº ", "Devolução parcial ref. NF ", "Mercadoria entregue no depósito ",
    "Conforme contrato ", "Bonificação ref. pedido "};

int CheckDigit(const std::string& digits, int first_weight, int reset_weight) {
  int sum = 0;
  int weight = first_weight;
  for (char c : digits) {
    sum += (c - '0') * weight;
    weight = weight == 2 ? reset_weight : weight - 1;
  }
  const int rest = sum % 11;
  return rest < 2 ? 0 : 11 - rest;
}

std::string Padded(int64_t value, size_t width) {
  std::string text = std::to_string(value);
  return text.size() >= width ? text : std::string(width - text.size(), '0') + text;
}

}  // namespace

const std::vector<DemoCity>& DemoCities() {
  static const std::vector<DemoCity> kCities = {
      {3550308, "SP"}, {3509502, "SP"}, {3548708, "SP"}, {3304557, "RJ"},
      {3106200, "MG"}, {3118601, "MG"}, {4106902, "PR"}, {4205407, "SC"},
      {4314902, "RS"}, {2927408, "BA"}, {2304400, "CE"}, {2611606, "PE"},
      {5208707, "GO"}, {5300108, "DF"}, {3205309, "ES"}, {1302603, "AM"}};
  return kCities;
}

std::string CompanyName(int company) {
  static const std::vector<std::string> kNames = {"Comercial Exemplo Ltda", "Indústria Modelo S.A.",
                                                  "Distribuidora Amostra Ltda"};
  return company <= static_cast<int>(kNames.size())
             ? kNames[company - 1]
             : "Empresa Demonstração " + std::to_string(company);
}

std::string EstablishmentName(int estab) {
  return estab == 1 ? "Matriz" : "Filial " + std::to_string(estab);
}

std::string PersonName(Random& random, bool rural) {
  if (rural) {
    return random.Pick(kGivenNames) + " " + random.Pick(kFamilies) + " (produtor rural)";
  }
  return random.Pick(kPersonKinds) + " " + random.Pick(kTrades) + " " + random.Pick(kFamilies) +
         " " + random.Pick(kSuffixes);
}

std::string ProductName(Random& random) {
  return random.Pick(kProducts) + " " + random.Pick(kPackages);
}

std::string Observation(Random& random) {
  return random.Pick(kObservations) + std::to_string(random.Between(100, 99999));
}

std::string Cnpj(int64_t root, int branch) {
  std::string digits = Padded(root, 8) + Padded(branch, 4);
  digits += static_cast<char>('0' + CheckDigit(digits, 5, 9));
  digits += static_cast<char>('0' + CheckDigit(digits, 6, 9));
  return digits;
}

std::string Cpf(int64_t number) {
  std::string digits = Padded(number, 9);
  digits += static_cast<char>('0' + CheckDigit(digits, 10, 10));
  digits += static_cast<char>('0' + CheckDigit(digits, 11, 11));
  return digits;
}

std::string Digits(Random& random, int count) {
  std::string out;
  for (int i = 0; i < count; ++i) {
    out += static_cast<char>('0' + random.Between(0, 9));
  }
  return out;
}

std::string Ncm(Random& random) {
  const std::string d = Digits(random, 8);
  return d.substr(0, 4) + "." + d.substr(4, 2) + "." + d.substr(6, 2);
}

}  // namespace nrw::schema
