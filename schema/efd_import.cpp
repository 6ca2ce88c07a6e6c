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

// The species of a document model (01, 1B and 04, and any other model: NF).
std::string SpeciesOfModel(const std::string& model) {
  static const std::map<std::string, std::string> kSpecies = {
      {"55", "NFE"},  {"65", "NFCE"}, {"2D", "CF"},   {"06", "NFEE"}, {"28", "NFGC"},
      {"29", "NFAC"}, {"21", "NFSC"}, {"22", "NFST"}, {"57", "CTE"},  {"67", "CTE"},
      {"07", "NFST"}, {"08", "CTRC"}, {"8B", "CTAC"}, {"09", "CTA"},  {"10", "AWB"},
      {"11", "CTFC"}, {"26", "CTMC"}, {"27", "NFTF"}, {"63", "BPE"}};
  const auto found = kSpecies.find(model);
  return found != kSpecies.end() ? found->second : "NF";
}

// FINALIDADE by the document's situation: 1 regular, 2 complementary, 3 regular booked late,
// 4 complementary booked late, 5 under a special regime (cancelled, denied and voided
// documents are regular ones with nothing in them).
int32_t PurposeOf(const std::string& situation) {
  if (situation == "01")
    return 3;
  if (situation == "06")
    return 2;
  if (situation == "07")
    return 4;
  if (situation == "08")
    return 5;
  return 1;
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

// Where an analytic register keeps the amounts that only some registers have (0: absent). All
// of them start with CST, CFOP, rate, operation value, ICMS base and ICMS (fields 2 to 7).
struct AnalyticLayout {
  size_t base_st = 0, tax_st = 0, reduced = 0, ipi = 0;
};

// A document of the file: a C100 (with its C190 and C170), or a document made from another
// parent of analytic records: an ECF reduction Z (C405 with C490), an energy, water or gas bill
// (C500 with C590), a transport document (D100 with D190), a communication bill (D500 with D590).
struct Document {
  Record source;
  bool exit = false;
  std::string participant, model, situation, series, number;
  std::optional<TDateTime> issued, entered;
  std::string child;  // the register of its analytic records
  AnalyticLayout layout;
  std::vector<Record> analytic;
  std::vector<Record> items;  // C170
};

struct FileContents {
  Record opening;                                        // 0000
  std::unordered_map<std::string, Record> participants;  // 0150 by COD_PART
  std::unordered_map<std::string, Record> products;      // 0200 by COD_ITEM
  std::vector<Document> documents;
};

// Positions of a parent record's fields (0: the record has none).
struct ParentFields {
  size_t direction, participant, model, situation, series, number, issued, entered;
};

Document DocumentOf(const Record& r, const std::string& child, AnalyticLayout layout,
                    ParentFields f) {
  Document d;
  d.source = r;
  d.exit = f.direction == 0 || r.Text(f.direction) == "1";  // ECF reductions are exits
  d.participant = r.Text(f.participant);
  d.model = r.Text(f.model);
  d.situation = f.situation == 0 ? "00" : r.Text(f.situation);
  d.series = r.Text(f.series);
  d.number = r.Text(f.number);
  d.issued = r.Date(f.issued);
  d.entered = r.Date(f.entered) ? r.Date(f.entered) : d.issued;
  d.child = child;
  d.layout = layout;
  return d;
}

FileContents ReadFile(const std::string& path) {
  EfdReader reader(path);
  FileContents file;
  Record record, ecf;  // ecf: the C400 (the fiscal printer) of the C405 records that follow
  const auto attach = [&](const Record& child, bool item) {
    if (file.documents.empty() || (item ? file.documents.back().source.Reg() != "C100"
                                        : file.documents.back().child != child.Reg())) {
      child.Fail("the record is not under a document it belongs to");
    }
    (item ? file.documents.back().items : file.documents.back().analytic).push_back(child);
  };
  while (reader.Next(record)) {
    const std::string& reg = record.Reg();
    if (reg == "0000") {
      file.opening = record;
    } else if (reg == "0150") {
      file.participants[record.Text(2)] = record;
    } else if (reg == "0200") {
      file.products[record.Text(2)] = record;
    } else if (reg == "C100") {
      file.documents.push_back(
          DocumentOf(record, "C190", {8, 9, 10, 11}, {2, 4, 5, 6, 7, 8, 10, 11}));
    } else if (reg == "C400") {
      ecf = record;
    } else if (reg == "C405") {
      Document z = DocumentOf(record, "C490", {}, {0, 0, 0, 0, 0, 4, 2, 2});
      z.model = ecf.Text(2);  // the printer's model (2D)
      file.documents.push_back(z);
    } else if (reg == "C500") {
      file.documents.push_back(
          DocumentOf(record, "C590", {8, 9, 10, 0}, {2, 4, 5, 6, 7, 10, 11, 12}));
    } else if (reg == "D100") {
      file.documents.push_back(
          DocumentOf(record, "D190", {0, 0, 8, 0}, {2, 4, 5, 6, 7, 9, 11, 12}));
    } else if (reg == "D500") {
      file.documents.push_back(
          DocumentOf(record, "D590", {0, 0, 10, 0}, {2, 4, 5, 6, 7, 9, 10, 11}));
    } else if (reg == "C190" || reg == "C490" || reg == "C590" || reg == "D190" || reg == "D590") {
      attach(record, false);
    } else if (reg == "C170") {
      attach(record, true);
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
      if (document.entered) {
        from_ = std::min(from_, *document.entered);
        to_ = std::max(to_, *document.entered);
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
    const bool exit = document.exit;
    const std::string situation = SituationText(document.situation);
    const TDateTime issued = document.issued.value_or(from_);
    const TDateTime entered = document.entered.value_or(issued);
    const int64_t key = key_++;
    const Variant person = Person(document.participant);
    const auto state = person_state_.find(document.participant);
    const std::string origin =
        state != person_state_.end() && !state->second.empty() ? state->second : state_;
    (exit ? exits_ : entries_)
        .push_back({Variant(result_.company), Variant(result_.establishment), Variant(key),
                    Variant::FromDateTime(entered), Variant::FromDateTime(entered),
                    Variant::FromDateTime(issued), IntegerOrNull(document.number),
                    IntegerOrNull(document.number), TextOrNull(document.series), Variant(),
                    Variant(SpeciesOfModel(document.model)), person, TextOrNull(origin),
                    TextOrNull(situation), TextOrNull(document.model),
                    Variant(PurposeOf(document.situation)), Variant()});
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
    const AnalyticLayout& layout = document.layout;
    for (const Record& a : document.analytic) {
      const std::string cst = a.Text(2).size() >= 2 ? a.Text(2).substr(a.Text(2).size() - 2) : "";
      const double accounting = a.Number(5), base = a.Number(6);
      const double exempt =
          cst == "30" || cst == "40" || cst == "41" ? accounting - base : a.Number(layout.reduced);
      const Variant cfop = IntegerOrNull(a.Text(3));
      if (cfop.IsNull()) {
        a.Fail("field 3 '" + a.Text(3) + "' is not a CFOP");
      }
      line(kIcms, cfop, a.Number(4), accounting, base, a.Number(7), exempt,
           accounting - base - exempt);
      if (a.Number(layout.tax_st) != 0) {
        line(kSubstitution, cfop, 0, accounting, a.Number(layout.base_st), a.Number(layout.tax_st),
             0, 0);
      }
      if (a.Number(layout.ipi) != 0) {
        line(kIpi, cfop, 0, accounting, 0, a.Number(layout.ipi), 0, 0);
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

  void Flush() {
    schema::WriteRows(db_, "LCTOFISENT", entries_);
    schema::WriteRows(db_, "LCTOFISSAI", exits_);
    schema::WriteRows(db_, "LCTOFISENTIMPOSTO", entry_lines_);
    schema::WriteRows(db_, "LCTOFISSAIIMPOSTO", exit_lines_);
    schema::WriteRows(db_, "LCTOFISENTPRODUTO", entry_items_);
    schema::WriteRows(db_, "LCTOFISSAIPRODUTO", exit_items_);
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
