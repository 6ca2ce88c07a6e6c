// The listing builds nothing per printed line: on a month twice as large, the thread that runs
// the report (the listing, and the storing of the provider's rows) makes about as many C++
// allocations as on the smaller one. Counted by this binary's own operator new, on the calling
// thread only (the provider's reader threads and the database's own malloc are not counted).
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "host/section_sink.hpp"
#include "tests/report/run_harness.hpp"

namespace {

thread_local bool counting = false;
thread_local int64_t allocations = 0;

}  // namespace

// Every plain form of new and delete goes through malloc and free, so that each pair matches
// (the sanitizers check that); the over-aligned forms are left to the library.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (counting) {
    ++allocations;
  }
  return std::malloc(size == 0 ? 1 : size);
}
void* operator new(std::size_t size) {
  if (void* p = operator new(size, std::nothrow)) {
    return p;
  }
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
  return operator new(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return operator new(size, std::nothrow);
}
void operator delete(void* p) noexcept {
  std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
  std::free(p);
}
void operator delete[](void* p) noexcept {
  std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  std::free(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
  std::free(p);
}

namespace nfis::testing {
namespace {

// Counts the document tax lines (section 13) and every section, keeping nothing.
class CountingSink : public TSectionSink {
 public:
  void BeginPage(int32_t) override {}
  void PrintHeader(int32_t, const std::vector<TPrintedField>&, int32_t, int32_t) override {}
  void PrintSection(int32_t, int32_t section, const std::vector<TPrintedField>&) override {
    ++sections;
    tax_lines += section == 13 ? 1 : 0;
  }
  void Finish() override {}
  int64_t sections = 0;
  int64_t tax_lines = 0;
};

struct Counted {
  int64_t allocations = 0;
  int64_t tax_lines = 0;
};

// The demo month of `documents` documents with every block under the documents that the
// listing builds texts for: counterparty, natures, products, other information.
Counted CountListing(int64_t documents) {
  auto run = ReportRun::OpenDemo(nrw::testing::Backend::SQLite, documents);
  run->SetDefaults();
  run->AddEstab(1, 2);
  run->Set("pListarOutrasInfo", "1");
  run->Set("pExibirDadosPessoa", "1");
  run->Set("pExibirDadosNatureza", "1");
  run->Set("pExibirDadosProduto", "1");
  CountingSink sink;
  run->Engine().RemoveSink(&run->Sink());
  run->Engine().AddSink(&sink);
  run->Engine().DMPower()->SetView(nullptr);  // the test's view records every progress text
  allocations = 0;
  counting = true;
  const std::string message = run->Print();
  counting = false;
  EXPECT_EQ(message, "");
  return {allocations, sink.tax_lines};
}

TEST(ListingAllocations, ALargerMonthAllocatesNothingPerPrintedLine) {
  const Counted small = CountListing(8000);
  const Counted large = CountListing(16000);
  const int64_t more_lines = large.tax_lines - small.tax_lines;
  ASSERT_GT(more_lines, 1000) << "the larger month prints more document lines";
  const double per_line =
      static_cast<double>(large.allocations - small.allocations) / static_cast<double>(more_lines);
  // Growth of the stores (chunks and vectors that double: a constant number more for each
  // doubling of the month) is all that may remain, under 0.1 here; a string built per line or
  // per document adds 0.7 and more, one per page about 0.3 (the listing before it built none
  // made 5 per line, and a filter per document for its products).
  EXPECT_LT(per_line, 0.2) << small.allocations << " allocations for " << small.tax_lines
                           << " lines, " << large.allocations << " for " << large.tax_lines;
}

}  // namespace
}  // namespace nfis::testing
