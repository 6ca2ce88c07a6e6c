#include "tests/schema/table_digest.hpp"

#include "runtime/iso_date.hpp"

namespace nrw::testing {
namespace {

constexpr uint64_t kFnvOffset = 14695981039346656037ULL, kFnvPrime = 1099511628211ULL;

class DigestSink : public TSQLRowSink {
 public:
  void Columns(const std::vector<TSQLColumn>&) override {}
  void Row(const std::vector<Variant>& values) override {
    for (const Variant& value : values) {
      Mix(Canonical(value));
      Mix("|");
    }
    ++digest.rows;
  }
  TableDigest digest{0, kFnvOffset};

 private:
  static std::string Canonical(const Variant& value) {
    switch (value.GetKind()) {
      case Variant::Kind::Null:
        return "<null>";
      case Variant::Kind::Float:
      case Variant::Kind::Integer:
        return Nutil::ValorParaSQL(Variant(value.AsFloat()), TFieldType::Float);
      case Variant::Kind::DateTime:
        return IsoDateTime(value.AsDateTime());
      default:
        return value.AsString();
    }
  }
  void Mix(const std::string& text) {
    for (unsigned char c : text) {
      digest.hash = (digest.hash ^ c) * kFnvPrime;
    }
  }
};

}  // namespace

TableDigest DigestTable(TSQLConnection& connection, const std::string& table,
                        const std::string& order_by) {
  DigestSink sink;
  connection.Query("select * from " + table + " order by " + order_by, {}, sink);
  return sink.digest;
}

}  // namespace nrw::testing
