#include "schema/demo_document.hpp"

#include <cmath>

#include "schema/demo_catalog.hpp"

namespace nrw::schema {
namespace {

// Amounts are drawn in cents and stored as currency with two decimals.
double Money(int64_t cents) {
  return static_cast<double>(cents) / 100.0;
}
int64_t PercentOf(int64_t cents, double rate) {
  return static_cast<int64_t>(std::llround(static_cast<double>(cents) * rate / 100.0));
}
// The industrial company of the demo: its documents carry IPI.
constexpr int kIndustrialCompany = 2;
constexpr double kFunRuralPercent = 1.5;
constexpr int kOperationSt = 13001, kOperationStRetained = 11403, kOperationStDoubled = 11407;
constexpr int kOperationDifalUse = 12001, kOperationDifalAsset = 12002;
constexpr int kFirstAdjustmentSeq = 991;

}  // namespace

std::string DemoDocuments::Table(const Doc& doc, const char* suffix) const {
  return std::string(doc.exit ? "LCTOFISSAI" : "LCTOFISENT") + suffix;
}

const DemoPerson& DemoDocuments::PickPerson(bool exit) {
  // Entries favour rural producers a little, so that FunRural lines are common enough.
  for (int attempt = 0; attempt < 3; ++attempt) {
    const DemoPerson& person = random_.Pick(people_);
    if (exit || person.rural || !random_.Percent(15)) {
      return person;
    }
  }
  return random_.Pick(people_);
}

std::string DemoDocuments::PickSpecies(bool exit) {
  const int64_t roll = random_.Between(1, 100);
  if (roll <= 65) {
    return "NFE";
  }
  if (roll <= 80) {
    return "NF";
  }
  if (roll <= 92) {
    return "NFS";
  }
  return exit ? "NFE" : "CTE";
}

void DemoDocuments::Add(const DemoEstab& estab, int64_t key, TDateTime day) {
  Doc doc;
  doc.estab = &estab;
  doc.key = key;
  doc.day = day;
  doc.exit = random_.Percent(55);
  doc.person = &PickPerson(doc.exit);
  doc.interstate = doc.person->uf != estab.uf;
  doc.species = PickSpecies(doc.exit);
  // Mostly tens to thousands of reais; now and then a large document (over a million).
  doc.cents = random_.Percent(1) ? random_.Between(100'000'000, 250'000'000)
                                 : random_.Between(5'000, 2'000'000);
  AddHeader(doc);
  if (doc.species == "NFS" || doc.species == "CTE") {
    AddServiceOrTransport(doc);
    return;
  }
  AddGoodsLines(doc);
  AddItems(doc);
  if (doc.exit && random_.Percent(10)) {
    AddFreight(doc);
  }
}

void DemoDocuments::AddHeader(const Doc& doc) {
  int64_t& number = next_number_[doc.exit ? 1 : 0];
  const int64_t first = ++number;
  // Consumer series on exits cover a range of numbers in one entry.
  const bool range = doc.exit && random_.Percent(5);
  if (range) {
    number += random_.Between(1, 20);
  }
  const double time = static_cast<double>(random_.Between(7 * 60, 20 * 60 - 1)) / 1440.0;
  const double issued = doc.exit ? doc.day : doc.day - static_cast<double>(random_.Between(0, 5));
  const int64_t series_roll = random_.Between(1, 100);
  const char* series = range ? "D" : series_roll <= 80 ? "1" : series_roll <= 90 ? "A" : "U";
  const char* model = doc.species == "NFE"   ? "55"
                      : doc.species == "NF"  ? "01"
                      : doc.species == "CTE" ? "57"
                                             : "99";
  const int64_t purpose_roll = random_.Between(1, 100);
  const int purpose = purpose_roll <= 92 ? 1 : purpose_roll <= 95 ? 2 : purpose_roll <= 97 ? 3 : 4;
  rows_.Add(Table(doc, ""),
            {doc.estab->company, doc.estab->estab, doc.key, Variant::FromDateTime(doc.day),
             Variant::FromDateTime(doc.day + time), Variant::FromDateTime(issued), first, number,
             series, random_.Percent(5) ? Variant("1") : Variant(), doc.species, doc.person->code,
             doc.person->uf, random_.Percent(8) ? Variant(Observation(random_)) : Variant(), model,
             purpose, static_cast<int>(random_.Between(1, 6))});
}

void DemoDocuments::AddTaxLine(Doc& doc, int type, int cfop, double rate, int64_t contabil,
                               int64_t base, int64_t tax, int64_t exempt, int64_t other,
                               int64_t exclusion, std::optional<int> operation) {
  std::vector<Variant> row = {doc.estab->company,
                              doc.estab->estab,
                              doc.key,
                              ++doc.seq,
                              type,
                              cfop,
                              rate,
                              Money(contabil),
                              Money(base),
                              Money(tax),
                              Money(exempt),
                              Money(other),
                              Money(exclusion)};
  row.emplace_back();
  if (operation) {
    row.back() = Variant(*operation);
  }
  rows_.Add(Table(doc, "IMPOSTO"), std::move(row));
}

int DemoDocuments::GoodsCfop(const Doc& doc) {
  const bool industrial = doc.estab->company == kIndustrialCompany;
  if (doc.exit) {
    if (random_.Percent(3)) {
      return 5949;
    }
    if (doc.interstate) {
      return random_.Percent(5) ? 6108 : industrial ? 6101 : 6102;
    }
    return industrial ? 5101 : 5102;
  }
  if (random_.Percent(10)) {
    return doc.interstate ? 2556 : 1556;
  }
  if (doc.interstate) {
    return industrial ? 2101 : 2102;
  }
  return industrial ? 1101 : 1102;
}

void DemoDocuments::AddGoodsLines(Doc& doc) {
  const int group_count = random_.Percent(20) ? 2 : 1;
  int64_t left = doc.cents;
  for (int g = 0; g < group_count; ++g) {
    const int64_t cents = g + 1 == group_count ? left : left * random_.Between(30, 70) / 100;
    left -= cents;
    doc.groups.push_back({GoodsCfop(doc), cents});
  }
  for (const Group& group : doc.groups) {
    AddIcms(doc, group);
    if (doc.estab->company == kIndustrialCompany && random_.Percent(70)) {
      AddIpi(doc, group);
    }
    if (random_.Percent(10)) {
      AddSubstitution(doc, group);
    }
  }
  if (!doc.exit && doc.person->rural) {
    const int64_t tax = PercentOf(doc.cents, kFunRuralPercent);
    AddTaxLine(doc, 11, doc.groups[0].cfop, kFunRuralPercent, doc.cents, doc.cents, tax, 0, 0, 0,
               std::nullopt);
  }
  if (!doc.exit && doc.interstate && random_.Percent(30)) {
    AddComplementary(doc);
  }
}

void DemoDocuments::AddIcms(Doc& doc, const Group& group) {
  static const std::vector<double> kInterstate = {4, 7, 12};
  static const std::vector<double> kInternal = {17, 18, 12};
  const int64_t roll = random_.Between(1, 100);
  const int64_t exclusion = random_.Percent(3) ? group.cents * random_.Between(1, 10) / 100 : 0;
  if (roll <= 6) {  // exempt
    AddTaxLine(doc, 1, group.cfop, 0, group.cents, 0, 0, group.cents, 0, exclusion, std::nullopt);
    return;
  }
  const double rate = random_.Pick(doc.interstate ? kInterstate : kInternal);
  // A reduced base puts the reduction in "others".
  const int64_t base = roll <= 18 ? group.cents * 60 / 100 : group.cents;
  AddTaxLine(doc, 1, group.cfop, rate, group.cents, base, PercentOf(base, rate), 0,
             group.cents - base, exclusion, std::nullopt);
}

void DemoDocuments::AddIpi(Doc& doc, const Group& group) {
  static const std::vector<double> kRates = {5, 10, 15};
  const double rate = random_.Pick(kRates);
  if (!doc.exit && random_.Percent(20)) {  // IPI without credit: all in "others"
    AddTaxLine(doc, 10, group.cfop, 0, group.cents, 0, 0, 0, group.cents, 0, std::nullopt);
    return;
  }
  AddTaxLine(doc, 10, group.cfop, rate, group.cents, group.cents, PercentOf(group.cents, rate), 0,
             0, 0, std::nullopt);
}

void DemoDocuments::AddSubstitution(Doc& doc, const Group& group) {
  const int64_t base = group.cents * 140 / 100;
  const int64_t tax = PercentOf(base, 18) - PercentOf(group.cents, 18);
  if (doc.exit) {
    AddTaxLine(doc, 13, group.cfop, 18, group.cents, base, tax, 0, 0, 0, kOperationSt);
    return;
  }
  AddTaxLine(doc, 13, group.cfop, 18, group.cents, base, tax, 0, 0, 0, kOperationStRetained);
  // The same retention keyed in twice under operation 11407; now and then off by a cent.
  if (random_.Percent(40)) {
    const int64_t doubled = random_.Percent(10) ? tax + 1 : tax;
    AddTaxLine(doc, 13, group.cfop, 18, group.cents, base, doubled, 0, 0, 0, kOperationStDoubled);
  }
}

void DemoDocuments::AddComplementary(Doc& doc) {
  const Group& group = doc.groups[0];
  const double rate = random_.Percent(50) ? 11 : 6;
  const int operation = group.cfop == 2556 ? kOperationDifalUse : kOperationDifalAsset;
  AddTaxLine(doc, 12, group.cfop, rate, group.cents, group.cents, PercentOf(group.cents, rate), 0,
             0, 0, operation);
}

void DemoDocuments::AddServiceOrTransport(Doc& doc) {
  if (doc.species == "CTE") {
    const int cfop = doc.exit ? 5352 : 1353;
    AddTaxLine(doc, 1, cfop, 12, doc.cents, doc.cents, PercentOf(doc.cents, 12), 0, 0, 0,
               std::nullopt);
    return;
  }
  static const std::vector<double> kRates = {2, 3, 5};
  const int cfop = doc.exit ? (doc.interstate ? 6933 : 5933) : (doc.interstate ? 2933 : 1933);
  const double rate = random_.Pick(kRates);
  AddTaxLine(doc, 2, cfop, rate, doc.cents, doc.cents, PercentOf(doc.cents, rate), 0, 0, 0,
             std::nullopt);
}

void DemoDocuments::AddItems(const Doc& doc) {
  int seq = 0;
  for (const Group& group : doc.groups) {
    const int items = static_cast<int>(random_.Between(1, 3));
    int64_t left = group.cents;
    for (int i = 0; i < items; ++i) {
      const int64_t cents = i + 1 == items ? left : left * random_.Between(20, 60) / 100;
      left -= cents;
      AddItem(doc, ++seq, group.cfop, cents, false);
    }
  }
  if (random_.Percent(3)) {  // an adjustment row, left out of the product listing
    AddItem(doc, kFirstAdjustmentSeq + static_cast<int>(random_.Between(0, 3)), doc.groups[0].cfop,
            random_.Between(1, 500), true);
  }
}

void DemoDocuments::AddItem(const Doc& doc, int seq, int cfop, int64_t cents, bool adjustment) {
  // Non-cumulative PIS/COFINS for the first company, cumulative for the others; some items
  // without rate or without base, and a few with an amount but no rate (data keyed wrongly).
  const bool non_cumulative = doc.estab->company == 1;
  double pis_rate = non_cumulative ? 1.65 : 0.65, cofins_rate = non_cumulative ? 7.6 : 3.0;
  int64_t base = cents;
  const int64_t roll = random_.Between(1, 100);
  if (roll <= 6) {
    pis_rate = cofins_rate = 0;
  } else if (roll <= 9) {
    base = 0;
  }
  int64_t pis = PercentOf(base, pis_rate), cofins = PercentOf(base, cofins_rate);
  if (roll == 10) {
    pis = PercentOf(cents, 1.65);
    pis_rate = 0;
  }
  const double quantity =
      adjustment ? 1.0 : static_cast<double>(random_.Between(1, 50000)) / 1000.0;
  const int64_t unit_cents =
      static_cast<int64_t>(std::llround(static_cast<double>(cents) / quantity));
  const int64_t product = adjustment ? 1 : random_.Between(1, products_);
  rows_.Add(
      Table(doc, "PRODUTO"),
      {doc.estab->company, doc.estab->estab, doc.key, Variant::FromDateTime(doc.day), seq, product,
       random_.Percent(5) ? "1" : "0", cfop, quantity, Money(unit_cents), Money(cents),
       Money(cents), Money(base), pis_rate, Money(pis), cofins_rate, Money(cofins)});
}

void DemoDocuments::AddFreight(const Doc& doc) {
  const int bills = static_cast<int>(random_.Between(1, 2));
  for (int seq = 1; seq <= bills; ++seq) {
    rows_.Add("LCTOFISSAICONFRETE",
              {doc.estab->company, doc.estab->estab, doc.key, Variant::FromDateTime(doc.day), seq,
               static_cast<int>(random_.Between(1, 999999)), "1", Money(doc.cents)});
  }
}

}  // namespace nrw::schema
