#include "schema/efd_import.hpp"

#include <algorithm>
#include <map>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "host/exception.hpp"
#include "schema/company_schema.hpp"
#include "schema/efd_reader.hpp"

namespace nrw::efd {
namespace {

constexpr int32_t kIcms = 1, kIpi = 10, kSubstitution = 13;
constexpr int32_t kNormalPurpose = 1, kComplementaryPurpose = 2;

// The state of an IBGE municipality code (its first two digits).
std::string StateOfMunicipality(const std::string& code) {
  static const std::map<std::string, std::string> kStates = {
      {"11", "RO"}, {"12", "AC"}, {"13", "AM"}, {"14", "RR"}, {"15", "PA"}, {"16", "AP"},
      {"17", "TO"}, {"21", "MA"}, {"22", "PI"}, {"23", "CE"}, {"24", "RN"}, {"25", "PB"},
      {"26", "PE"}, {"27", "AL"}, {"28", "SE"}, {"29", "BA"}, {"31", "MG"}, {"32", "ES"},
      {"33", "RJ"}, {"35", "SP"}, {"41", "PR"}, {"42", "SC"}, {"43", "RS"}, {"50", "MS"},
      {"51", "MT"}, {"52", "GO"}, {"53", "DF"}};
  const auto found = kStates.find(code.substr(0, 2));
  return found != kStates.end() ? found->second : "";
}

std::string SpeciesOfModel(const std::string& model) {
  if (model == "55")
    return "NFE";
  if (model == "65")
    return "NFCE";
  return "NF";  // 01, 1B, 04
}

// The observation of a document that is not a regular one; "" for regular ones.
std::string SituationText(const std::string& situation) {
  if (situation == "02" || situation == "03")
    return "Documento cancelado";
  if (situation == "04")
    return "Documento denegado";
  if (situation == "05")
    return "Numeração inutilizada";
  return "";
}

Variant IntegerOrNull(const std::string& text) {
  if (text.empty() || text.size() > 18 ||
      !std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; })) {
    return Variant();
  }
  return Variant(static_cast<int64_t>(std::stoll(text)));
}

Variant TextOrNull(const std::string& text) {
  return text.empty() ? Variant() : Variant(text);
}

int32_t ProductCode(const std::string& item) {
  const Variant number = IntegerOrNull(item);
  if (!number.IsNull() && number.AsInteger() < (int64_t{1} << 31)) {
    return static_cast<int32_t>(number.AsInteger());
  }
  uint32_t hash = 2166136261u;  // FNV-1a, kept to 31 bits
  for (const char c : item) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
  }
  return static_cast<int32_t>(hash & 0x7FFFFFFF);
}

// "9999.99.99" from an eight-digit NCM.
std::string FormatNcm(const std::string& ncm) {
  return ncm.size() == 8 ? ncm.substr(0, 4) + "." + ncm.substr(4, 2) + "." + ncm.substr(6, 2) : ncm;
}

class FirstValue : public TSQLRowSink {
 public:
  void Columns(const std::vector<TSQLColumn>&) override {}
  void Row(const std::vector<Variant>& values) override {
    if (!value && !values.empty()) {
      value = values.front();
    }
  }
  std::optional<Variant> value;
};

Variant Scalar(TSQLConnection& db, const std::string& sql, const TVariantArray& params = {}) {
  FirstValue first;
  db.Query(sql, params, first);
  return first.value.value_or(Variant());
}

int64_t NextCode(TSQLConnection& db, const std::string& sql, const TVariantArray& params = {}) {
  const Variant highest = Scalar(db, sql, params);
  return highest.IsNull() ? 1 : highest.AsInteger() + 1;
}

// A document with its records.
struct Document {
  Record header;                 // C100
  std::vector<Record> analytic;  // C190
  std::vector<Record> items;     // C170
};

struct FileContents {
  Record opening;                                        // 0000
  std::unordered_map<std::string, Record> participants;  // 0150 by COD_PART
  std::unordered_map<std::string, Record> products;      // 0200 by COD_ITEM
  std::vector<Document> documents;
};

FileContents ReadFile(const std::string& path) {
  EfdReader reader(path);
  FileContents file;
  Record record;
  while (reader.Next(record)) {
    const std::string& reg = record.Reg();
    if (reg == "0000") {
      file.opening = record;
    } else if (reg == "0150") {
      file.participants[record.Text(2)] = record;
    } else if (reg == "0200") {
      file.products[record.Text(2)] = record;
    } else if (reg == "C100") {
      file.documents.push_back({record, {}, {}});
    } else if (reg == "C190" || reg == "C170") {
      if (file.documents.empty()) {
        record.Fail("a document line comes before any C100");
      }
      (reg == "C190" ? file.documents.back().analytic : file.documents.back().items)
          .push_back(record);
    }
  }
  return file;
}

class Importer {
 public:
  Importer(TSQLConnection& db, const FileContents& file) : db_(db), file_(file) {}

  ImportResult Run() {
    // The period the file replaces: its own, widened to the dates of its documents (a file may
    // hold documents dated outside its month).
    const Record& o = file_.opening;
    from_ = o.Date(4).value_or(0);
    to_ = o.Date(5).value_or(0);
    for (const Document& document : file_.documents) {
      const Record& c = document.header;
      if (const auto date = c.Date(11) ? c.Date(11) : c.Date(10)) {
        from_ = std::min(from_, *date);
        to_ = std::max(to_, *date);
      }
    }
    ResolveEstablishment();
    RemoveEarlierImport();
    key_ = NextCode(db_,
                    "select max(K) from (select max(CHAVELCTOFISENT) K from LCTOFISENT "
                    "union all select max(CHAVELCTOFISSAI) K from LCTOFISSAI) keys");
    for (const Document& document : file_.documents) {
      AddDocument(document);
    }
    Flush();
    return result_;
  }

 private:
  void ResolveEstablishment() {
    const Record& o = file_.opening;
    const std::string federal = !o.Text(7).empty() ? o.Text(7) : o.Text(8);
    if (federal.empty()) {
      o.Fail("the file names no CNPJ or CPF");
    }
    const std::string root = o.Text(7).empty() ? federal : federal.substr(0, 8);
    const Variant company = Scalar(
        db_, "select min(CODIGOEMPRESA) from EMPRESA where substr(INSCRFEDERAL, 1, :n) = :root",
        {Variant(static_cast<int64_t>(root.size())), Variant(root)});
    if (company.IsNull()) {
      result_.company =
          static_cast<int32_t>(NextCode(db_, "select max(CODIGOEMPRESA) from EMPRESA"));
      db_.Execute(
          "insert into EMPRESA (CODIGOEMPRESA, NOMEEMPRESA, INSCRFEDERAL) values (:c, :n, :f)",
          {Variant(result_.company), Variant(o.Text(6)), Variant(federal)});
    } else {
      result_.company = static_cast<int32_t>(company.AsInteger());
    }
    const Variant estab =
        Scalar(db_, "select CODIGOESTAB from ESTAB where CODIGOEMPRESA = :c and INSCRFEDERAL = :f",
               {Variant(result_.company), Variant(federal)});
    if (estab.IsNull()) {
      result_.establishment = static_cast<int32_t>(
          NextCode(db_, "select max(CODIGOESTAB) from ESTAB where CODIGOEMPRESA = :c",
                   {Variant(result_.company)}));
      db_.Execute(
          "insert into ESTAB (CODIGOEMPRESA, CODIGOESTAB, NOMEESTAB, INSCRFEDERAL, INSCRESTAD, "
          "SIGLAESTADO, CODIGOMUNIC) values (:c, :e, :n, :f, :ie, :uf, :m)",
          {Variant(result_.company), Variant(result_.establishment), Variant(o.Text(6)),
           Variant(federal), TextOrNull(o.Text(10)), TextOrNull(o.Text(9)),
           IntegerOrNull(o.Text(11))});
    } else {
      result_.establishment = static_cast<int32_t>(estab.AsInteger());
    }
    state_ = o.Text(9);
  }

  // An earlier import of the same establishment and period is replaced.
  void RemoveEarlierImport() {
    const TVariantArray scope = {Variant(result_.company), Variant(result_.establishment),
                                 Variant::FromDateTime(from_), Variant::FromDateTime(to_)};
    for (const char* suffix : {"ENT", "SAI"}) {
      const std::string documents = std::string("LCTOFIS") + suffix;
      const std::string key = std::string("CHAVELCTOFIS") + suffix;
      const std::string selection = "select " + key + " from " + documents +
                                    " where CODIGOEMPRESA = :c and CODIGOESTAB = :e and "
                                    "DATALCTOFIS between :f and :t";
      for (const char* child : {"IMPOSTO", "PRODUTO"}) {
        db_.Execute(
            "delete from " + documents + child + " where " + key + " in (" + selection + ")",
            scope);
      }
      result_.replaced += db_.Execute(
          "delete from " + documents +
              " where CODIGOEMPRESA = :c and CODIGOESTAB = :e and DATALCTOFIS between :f and :t",
          scope);
    }
  }

  Variant Person(const std::string& participant) {
    if (participant.empty()) {
      return Variant();
    }
    if (const auto known = people_.find(participant); known != people_.end()) {
      return known->second;
    }
    const auto found = file_.participants.find(participant);
    if (found == file_.participants.end()) {
      return Variant();
    }
    const Record& p = found->second;
    const std::string federal = !p.Text(5).empty() ? p.Text(5) : p.Text(6);
    Variant code = federal.empty()
                       ? Scalar(db_,
                                "select min(CODIGOPESSOA) from PESSOA where NOMEPESSOA = :n and "
                                "INSCRFEDERAL is null",
                                {Variant(p.Text(3))})
                       : Scalar(db_, "select min(CODIGOPESSOA) from PESSOA where INSCRFEDERAL = :f",
                                {Variant(federal)});
    if (code.IsNull()) {
      code = Variant(NextCode(db_, "select max(CODIGOPESSOA) from PESSOA"));
      db_.Execute(
          "insert into PESSOA (CODIGOPESSOA, NOMEPESSOA, INSCRFEDERAL, SIGLAESTADO, CODIGOMUNIC, "
          "INSCRESTAD, PRODUTRURAL) values (:c, :n, :f, :uf, :m, :ie, 0)",
          {code, Variant(p.Text(3)), TextOrNull(federal),
           TextOrNull(StateOfMunicipality(p.Text(8))), IntegerOrNull(p.Text(8)),
           TextOrNull(p.Text(7))});
    }
    people_[participant] = code;
    person_state_[participant] = StateOfMunicipality(p.Text(8));
    return code;
  }

  Variant Product(const std::string& item) {
    if (item.empty()) {
      return Variant();
    }
    const int32_t code = ProductCode(item);
    if (products_.insert(code).second) {
      const auto found = file_.products.find(item);
      const std::string description = found != file_.products.end() ? found->second.Text(3) : item;
      const std::string ncm = found != file_.products.end() ? FormatNcm(found->second.Text(8)) : "";
      const TVariantArray key = {Variant(result_.company), Variant(code)};
      if (Scalar(db_,
                 "select count(*) from PRODUTO where CODIGOEMPRESA = :c and CODIGOPRODUTO = :p",
                 key)
              .AsInteger() == 0) {
        db_.Execute(
            "insert into PRODUTO (CODIGOEMPRESA, CODIGOPRODUTO, DESCRPRODUTO, CODIGONCM) values "
            "(:c, :p, :d, :n)",
            {Variant(result_.company), Variant(code), Variant(description.substr(0, 120)),
             TextOrNull(ncm)});
      }
    }
    return Variant(code);
  }

  void AddDocument(const Document& document) {
    const Record& c = document.header;
    const bool exit = c.Text(2) == "1";
    const std::string situation = SituationText(c.Text(6));
    const TDateTime issued = c.Date(10).value_or(from_);
    const TDateTime entered = c.Date(11).value_or(issued);
    const int64_t key = key_++;
    const Variant person = Person(c.Text(4));
    const std::string origin =
        person_state_.count(c.Text(4)) != 0 && !person_state_[c.Text(4)].empty()
            ? person_state_[c.Text(4)]
            : state_;
    const std::string situation_code = c.Text(6);
    (exit ? exits_ : entries_)
        .push_back({Variant(result_.company), Variant(result_.establishment), Variant(key),
                    Variant::FromDateTime(entered), Variant::FromDateTime(entered),
                    Variant::FromDateTime(issued), IntegerOrNull(c.Text(8)),
                    IntegerOrNull(c.Text(8)), TextOrNull(c.Text(7)), Variant(),
                    Variant(SpeciesOfModel(c.Text(5))), person, TextOrNull(origin),
                    TextOrNull(situation), TextOrNull(c.Text(5)),
                    Variant(situation_code == "06" || situation_code == "07" ? kComplementaryPurpose
                                                                             : kNormalPurpose),
                    Variant()});
    ++result_.documents;
    auto& lines = exit ? exit_lines_ : entry_lines_;
    int64_t seq = 0;
    const auto line = [&](int32_t type, const Variant& cfop, double rate, double accounting,
                          double base, double tax, double exempt, double others) {
      lines.push_back({Variant(result_.company), Variant(result_.establishment), Variant(key),
                       Variant(++seq), Variant(type), cfop, Variant(rate), Variant(accounting),
                       Variant(base), Variant(tax), Variant(exempt), Variant(others), Variant(0.0),
                       Variant()});
      ++result_.tax_lines;
    };
    if (!situation.empty()) {
      ++result_.cancelled;
      line(kIcms, Variant(0), 0, 0, 0, 0, 0, 0);
      return;
    }
    for (const Record& a : document.analytic) {
      const std::string cst = a.Text(2).size() >= 2 ? a.Text(2).substr(a.Text(2).size() - 2) : "";
      const double accounting = a.Number(5), base = a.Number(6);
      const double exempt =
          cst == "30" || cst == "40" || cst == "41" ? accounting - base : a.Number(10);
      const Variant cfop = IntegerOrNull(a.Text(3));
      if (cfop.IsNull()) {
        a.Fail("field 3 '" + a.Text(3) + "' is not a CFOP");
      }
      line(kIcms, cfop, a.Number(4), accounting, base, a.Number(7), exempt,
           accounting - base - exempt);
      if (a.Number(9) != 0) {
        line(kSubstitution, cfop, 0, accounting, a.Number(8), a.Number(9), 0, 0);
      }
      if (a.Number(11) != 0) {
        line(kIpi, cfop, 0, accounting, 0, a.Number(11), 0, 0);
      }
    }
    auto& items = exit ? exit_items_ : entry_items_;
    int64_t item_seq = 0;
    for (const Record& i : document.items) {
      const double quantity = i.Number(5), total = i.Number(7);
      items.push_back({Variant(result_.company), Variant(result_.establishment), Variant(key),
                       Variant::FromDateTime(entered), Variant(++item_seq), Product(i.Text(3)),
                       TextOrNull(i.Text(10).substr(0, 1)), IntegerOrNull(i.Text(11)),
                       Variant(quantity), Variant(quantity != 0 ? total / quantity : 0.0),
                       Variant(total), Variant(total - i.Number(8)), Variant(i.Number(26)),
                       Variant(i.Number(27)), Variant(i.Number(30)), Variant(i.Number(33)),
                       Variant(i.Number(36))});
      ++result_.items;
    }
  }

  void Write(const std::string& table, const std::vector<std::string>& columns,
             const std::vector<std::vector<Variant>>& rows) {
    if (rows.empty()) {
      return;
    }
    auto writer = db_.BulkInsert(table, columns);
    for (const auto& row : rows) {
      writer->Add(row);
    }
    writer->Finish();
  }

  void Flush() {
    const auto document_columns = [](const char* suffix) {
      return std::vector<std::string>{
          "CODIGOEMPRESA",     "CODIGOESTAB",     std::string("CHAVELCTOFIS") + suffix,
          "DATALCTOFIS",       "DATAHORALCTOFIS", "DATAEMISSAO",
          "NUMERONF",          "NUMERONFFINAL",   "SERIENF",
          "SUBSERIENF",        "ESPECIENF",       "CODIGOPESSOA",
          "SIGLAESTADOORIGEM", "COMPLHIST",       "CODIGOTIPODCTOSINTEGRA",
          "FINALIDADE",        "CODIGOUSUARIO"};
    };
    const auto line_columns = [](const char* suffix) {
      return std::vector<std::string>{"CODIGOEMPRESA",
                                      "CODIGOESTAB",
                                      std::string("CHAVELCTOFIS") + suffix,
                                      "SEQ",
                                      "TIPOIMPOSTO",
                                      "CODIGOCFOP",
                                      "ALIQIMPOSTO",
                                      "VALORCONTABIL",
                                      "BASEIMPOSTO",
                                      "VALORIMPOSTO",
                                      "ISENTASIMPOSTO",
                                      "OUTRASIMPOSTO",
                                      "VALOREXVALORADICIONAL",
                                      "CODIGOOPERACAOFIS"};
    };
    const auto item_columns = [](const char* suffix) {
      return std::vector<std::string>{
          "CODIGOEMPRESA", "CODIGOESTAB", std::string("CHAVELCTOFIS") + suffix,
          "DATALCTOFIS",   "SEQ",         "CODIGOPRODUTO",
          "ORIGEM",        "CODIGOCFOP",  "QUANTIDADE",
          "VALORUNITARIO", "VALORTOTAL",  "VALORCONTABIL",
          "BASEPISCOFINS", "ALIQPIS",     "VALORPIS",
          "ALIQCOFINS",    "VALORCOFINS"};
    };
    Write("LCTOFISENT", document_columns("ENT"), entries_);
    Write("LCTOFISSAI", document_columns("SAI"), exits_);
    Write("LCTOFISENTIMPOSTO", line_columns("ENT"), entry_lines_);
    Write("LCTOFISSAIIMPOSTO", line_columns("SAI"), exit_lines_);
    Write("LCTOFISENTPRODUTO", item_columns("ENT"), entry_items_);
    Write("LCTOFISSAIPRODUTO", item_columns("SAI"), exit_items_);
  }

  TSQLConnection& db_;
  const FileContents& file_;
  ImportResult result_;
  TDateTime from_ = 0, to_ = 0;
  std::string state_;
  int64_t key_ = 1;
  std::unordered_map<std::string, Variant> people_;
  std::unordered_map<std::string, std::string> person_state_;
  std::unordered_set<int32_t> products_;
  std::vector<std::vector<Variant>> entries_, exits_, entry_lines_, exit_lines_, entry_items_,
      exit_items_;
};

}  // namespace

void EnsureCompanySchema(TSQLConnection& db, const std::string& reference_dir) {
  try {
    Scalar(db, "select count(*) from EMPRESA");
    return;
  } catch (const Exception&) {
    // no company tables yet
  }
  db.BeginTransaction();
  try {
    schema::CreateTables(db);
    schema::CreateIndexes(db);
    schema::LoadReferenceData(db, reference_dir);
    db.Commit();
  } catch (...) {
    db.Rollback();
    throw;
  }
}

ImportResult ImportEfdFile(TSQLConnection& db, const std::string& path) {
  const FileContents file = ReadFile(path);  // a malformed file is found before any write
  db.BeginTransaction();
  try {
    ImportResult result = Importer(db, file).Run();
    db.Commit();
    return result;
  } catch (...) {
    db.Rollback();
    throw;
  }
}

}  // namespace nrw::efd
