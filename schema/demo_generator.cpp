// The demo month: companies, establishments, counterparties and products first, then each
// establishment's documents in date order, their keys drawn from one sequence.
#include "schema/demo_generator.hpp"

#include <algorithm>

#include "host/exception.hpp"
#include "host/sysutils.hpp"
#include "schema/demo_catalog.hpp"
#include "schema/demo_document.hpp"
#include "schema/demo_rows.hpp"

namespace nrw::schema {
namespace {

// Sizes of the lookup tables, grown with the month but kept within realistic bounds.
constexpr int64_t kDocumentsPerPerson = 25, kMinPeople = 80, kMaxPeople = 20000;
constexpr int64_t kDocumentsPerProduct = 50, kMinProducts = 50, kMaxProducts = 2000;
constexpr int kRuralPercent = 10, kUnknownCityPercent = 5;

class DemoGenerator {
 public:
  DemoGenerator(TSQLConnection& connection, const DemoOptions& options)
      : connection_(connection), options_(options), random_(options.seed), rows_(connection) {}

  DemoCounts Run() {
    Validate();
    CreateTables(connection_);
    DemoCounts counts;
    counts.reference = LoadReferenceData(connection_, options_.reference_dir);
    AddCompanies();
    counts.people = AddPeople();
    counts.products = AddProducts();
    AddDocuments();
    rows_.Flush(true);
    CreateIndexes(connection_);
    counts.documents = rows_.Count("LCTOFISENT") + rows_.Count("LCTOFISSAI");
    counts.tax_lines = rows_.Count("LCTOFISENTIMPOSTO") + rows_.Count("LCTOFISSAIIMPOSTO");
    counts.product_rows = rows_.Count("LCTOFISENTPRODUTO") + rows_.Count("LCTOFISSAIPRODUTO");
    counts.freight_rows = rows_.Count("LCTOFISSAICONFRETE");
    return counts;
  }

 private:
  void Validate() const {
    if (options_.documents < 0 || options_.companies < 1 || options_.establishments < 1) {
      throw Exception(
          "demo data: documents must be 0 or more, companies and establishments 1 or more");
    }
    if (!TryEncodeDate(options_.year, options_.month, 1)) {
      throw Exception("demo data: no such month " + std::to_string(options_.month) + "/" +
                      std::to_string(options_.year));
    }
  }

  void AddCompanies() {
    const auto& cities = DemoCities();
    for (int company = 1; company <= options_.companies; ++company) {
      const int64_t root = 10'000'000 + random_.Between(0, 89'999'999);
      rows_.Add("EMPRESA", {company, CompanyName(company), Cnpj(root, 1)});
      for (int estab = 1; estab <= options_.establishments; ++estab) {
        const DemoCity& city = cities[static_cast<size_t>(company + estab - 2) % 4];
        rows_.Add("ESTAB", {company, estab, EstablishmentName(estab), Cnpj(root, estab),
                            Digits(random_, 12), city.uf, city.code});
        estabs_.push_back({company, estab, city.uf});
      }
    }
  }

  int64_t AddPeople() {
    const int64_t count =
        std::clamp(options_.documents / kDocumentsPerPerson, kMinPeople, kMaxPeople);
    for (int code = 1; code <= count; ++code) {
      const bool rural = random_.Percent(kRuralPercent);
      const DemoCity& city = random_.Pick(DemoCities());
      const bool unknown_city = random_.Percent(kUnknownCityPercent);
      const std::string id = rural ? Cpf(random_.Between(100'000'000, 999'999'999))
                                   : Cnpj(random_.Between(10'000'000, 99'999'999), 1);
      rows_.Add("PESSOA", {code, PersonName(random_, rural), id, city.uf,
                           unknown_city ? kUnknownCityCode : city.code,
                           rural ? Variant("ISENTO") : Variant(Digits(random_, 12)), rural ? 1 : 0,
                           rural ? Variant(Digits(random_, 10)) : Variant()});
      people_.push_back({code, city.uf, rural});
    }
    return count;
  }

  int64_t AddProducts() {
    products_per_company_ =
        std::clamp(options_.documents / kDocumentsPerProduct, kMinProducts, kMaxProducts);
    for (int company = 1; company <= options_.companies; ++company) {
      for (int code = 1; code <= products_per_company_; ++code) {
        const std::string ncm = random_.Percent(5) ? "0000.00.00" : Ncm(random_);
        rows_.Add("PRODUTO", {company, code, ProductName(random_), ncm});
      }
    }
    return products_per_company_ * options_.companies;
  }

  void AddDocuments() {
    const int64_t estab_count = static_cast<int64_t>(estabs_.size());
    const TDateTime first_day = EncodeDate(options_.year, options_.month, 1);
    const int days =
        static_cast<int>(EncodeDate(options_.month == 12 ? options_.year + 1 : options_.year,
                                    options_.month == 12 ? 1 : options_.month + 1, 1) -
                         first_day);
    DemoDocuments documents(random_, rows_, people_, products_per_company_);
    for (int64_t e = 0; e < estab_count; ++e) {
      const int64_t count =
          options_.documents / estab_count + (e < options_.documents % estab_count ? 1 : 0);
      for (int64_t i = 0; i < count; ++i) {
        // Documents spread over the month in order, so keys grow with the date.
        const TDateTime day =
            first_day + static_cast<double>(i * days / std::max<int64_t>(count, 1));
        documents.Add(estabs_[static_cast<size_t>(e)], ++last_key_, day);
        rows_.Flush(false);
      }
    }
  }

  TSQLConnection& connection_;
  const DemoOptions& options_;
  Random random_;
  DemoRows rows_;
  std::vector<DemoEstab> estabs_;
  std::vector<DemoPerson> people_;
  int64_t products_per_company_ = 0;
  int64_t last_key_ = 0;
};

}  // namespace

DemoCounts CreateDemoDatabase(TSQLConnection& connection, const DemoOptions& options) {
  connection.BeginTransaction();
  try {
    const DemoCounts counts = DemoGenerator(connection, options).Run();
    connection.Commit();
    return counts;
  } catch (...) {
    try {
      connection.Rollback();
    } catch (...) {
      // The original failure is the one to report.
    }
    throw;
  }
}

}  // namespace nrw::schema
