// The background sink replays on its worker exactly the calls made on it, in order; raises the
// target's errors on the caller's thread; stops without finishing when destroyed early; and
// keeps the caller waiting rather than queueing without bound. The pagination pass's recording
// replays the same calls from its file, with the page headers completed by the counts.
#include "host/background_sink.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "host/exception.hpp"
#include "host/page_totals.hpp"
#include "host/progress.hpp"
#include "host/recorded_sections.hpp"
#include "tests/runtime/data_set_kinds.hpp"

namespace {

// Writes every call it receives as one line of text.
class CallLog : public TSectionSink {
 public:
  std::vector<std::string> calls;
  std::thread::id thread;

  void SetStyle(const TSectionStyle& style) override {
    Add("style " + std::to_string(style.shaded) + std::to_string(style.accent));
  }
  void BeginPage(int32_t page) override { Add("begin " + std::to_string(page)); }
  void PrintHeader(int32_t page, const std::vector<TPrintedField>& fields, int32_t title_size,
                   int32_t text_size) override {
    Add("header " + std::to_string(page) + " " + std::to_string(title_size) + " " +
        std::to_string(text_size) + Fields(fields));
  }
  void PrintSection(int32_t page, int32_t section,
                    const std::vector<TPrintedField>& fields) override {
    Add("section " + std::to_string(page) + " " + std::to_string(section) + Fields(fields));
  }
  void EndPage(int32_t page) override { Add("end " + std::to_string(page)); }
  void Finish() override { Add("finish"); }

 private:
  void Add(std::string call) {
    thread = std::this_thread::get_id();
    calls.push_back(std::move(call));
  }
  static std::string Fields(const std::vector<TPrintedField>& fields) {
    std::string text;
    for (const TPrintedField& field : fields) {
      text += " " + field.name + "=[" + field.value + "]";
    }
    return text;
  }
};

// A report's worth of calls: sections of varying fields (an empty value, a value with a
// zero byte, a long one; a section number printed with other field names now and then, as many
// or not), styles and pages.
void PrintSample(TSectionSink& sink, int pages) {
  for (int page = 1; page <= pages; ++page) {
    sink.BeginPage(page);
    sink.PrintHeader(page, {{"Empresa", "ACME"}, {"Pagina", std::to_string(page)}}, 14, 8);
    for (int line = 0; line < 40; ++line) {
      sink.SetStyle(TSectionStyle{line % 2 == 0, line % 7 == 0});
      const std::string number = std::to_string(page * 100 + line);
      if (line == 39) {
        sink.PrintSection(page, 13, {{"RNumeroNF", number}});
      } else if (line % 3 == 0) {
        sink.PrintSection(page, 13, {{"RNumeroNF", number}, {"RValor", ""}});
      } else if (line % 3 == 1) {
        // As many fields under another name now and then.
        sink.PrintSection(
            page, 14, {{line % 5 == 0 ? "RTexto" : "RNatureza", std::string("a\0b", 3) + number}});
      } else {
        sink.PrintSection(page, 20, {{"CTexto", std::string(300, 'x') + number}, {"V", "1"}});
      }
    }
    sink.EndPage(page);
  }
  sink.Finish();
}

TEST(BackgroundSink, ReplaysEveryCallInOrderOnItsOwnThread) {
  CallLog direct;
  PrintSample(direct, 30);
  for (const size_t block : {size_t{1}, size_t{100}, TBackgroundSink::kBlockBytes}) {
    CallLog replayed;
    {
      TBackgroundSink background(replayed, block);
      PrintSample(background, 30);
    }
    EXPECT_EQ(replayed.calls, direct.calls) << "block of " << block << " bytes";
    EXPECT_NE(replayed.thread, std::this_thread::get_id());
  }
}

// A number still to be formatted crosses to the worker as a number and is formatted there:
// the target sees its text, in a section sent with its names and in one with its values only.
TEST(BackgroundSink, ANumberArrivesFormatted) {
  CallLog replayed;
  {
    TBackgroundSink background(replayed);
    EXPECT_TRUE(background.TakesNumbers());
    TPrintedField amount("RValor", "stale");
    amount.pattern = "#,##0.00";
    amount.number = -2500000;
    background.PrintSection(1, 13, {{"RNumeroNF", "1"}, amount});
    amount.number = 0.5;
    background.PrintSection(1, 13, {{"RNumeroNF", "2"}, amount});
    background.Finish();
  }
  EXPECT_EQ(replayed.calls,
            (std::vector<std::string>{"section 1 13 RNumeroNF=[1] RValor=[-2.500.000,00]",
                                      "section 1 13 RNumeroNF=[2] RValor=[0,50]", "finish"}));
}

// A section given as its values goes with its names while their id is new to the section's
// number, and with its values only after that: names under another id (a new layout), or a
// section of printed fields between, send the names again.
TEST(BackgroundSink, ASectionOfValuesSendsItsNamesOncePerId) {
  CallLog replayed;
  {
    TBackgroundSink background(replayed, 1);
    EXPECT_TRUE(background.TakesValues());
    TFieldValue numero{"1", "", 0}, valor{"", "#,##0.00", 1234.5};
    const std::vector<const TFieldValue*> values{&numero, &valor};
    const std::vector<std::string> names{"RNumeroNF", "RValor"}, others{"RTexto", "RValor2"};
    background.PrintValues(1, 13, TSectionValues{7, names, values});
    numero.value = "2";
    background.PrintValues(1, 13, TSectionValues{7, names, values});
    background.PrintValues(1, 13, TSectionValues{8, others, values});
    background.PrintSection(1, 13, {{"RNumeroNF", "3"}});
    background.PrintValues(1, 13, TSectionValues{8, others, values});
    // Id 0 stands for no list: the names always go.
    background.PrintValues(1, 13, TSectionValues{0, names, values});
    background.PrintValues(1, 13, TSectionValues{0, others, values});
    background.Finish();
  }
  EXPECT_EQ(replayed.calls,
            (std::vector<std::string>{"section 1 13 RNumeroNF=[1] RValor=[1.234,50]",
                                      "section 1 13 RNumeroNF=[2] RValor=[1.234,50]",
                                      "section 1 13 RTexto=[2] RValor2=[1.234,50]",
                                      "section 1 13 RNumeroNF=[3]",
                                      "section 1 13 RTexto=[2] RValor2=[1.234,50]",
                                      "section 1 13 RNumeroNF=[2] RValor=[1.234,50]",
                                      "section 1 13 RTexto=[2] RValor2=[1.234,50]", "finish"}));
}

// Fails at its nth section.
class FailingSink : public CallLog {
 public:
  explicit FailingSink(int fail_at) : fail_at_(fail_at) {}
  void PrintSection(int32_t page, int32_t section,
                    const std::vector<TPrintedField>& fields) override {
    if (++sections_ == fail_at_) {
      throw std::runtime_error("cannot write the output file 'x': No space left on device");
    }
    CallLog::PrintSection(page, section, fields);
  }

 private:
  int fail_at_;
  int sections_ = 0;
};

TEST(BackgroundSink, RaisesTheTargetsErrorOnTheCallersThread) {
  for (const int fail_at : {1, 500, 1199}) {
    FailingSink target(fail_at);
    TBackgroundSink background(target, 64);
    try {
      PrintSample(background, 30);
      FAIL() << "no error for a failure at section " << fail_at;
    } catch (const std::runtime_error& e) {
      EXPECT_STREQ(e.what(), "cannot write the output file 'x': No space left on device");
    }
    EXPECT_TRUE(target.calls.empty() || target.calls.back() != "finish");
  }
}

TEST(BackgroundSink, DestroyedBeforeFinishStopsWithoutFinishingTheTarget) {
  CallLog target;
  {
    TBackgroundSink background(target, 64);
    background.BeginPage(1);
    background.PrintSection(1, 13, {{"RNumeroNF", "1"}});
  }
  for (const std::string& call : target.calls) {
    EXPECT_NE(call, "finish");
  }
}

// Holds the worker in its first call until released.
class GatedSink : public CallLog {
 public:
  void BeginPage(int32_t page) override {
    std::unique_lock lock(mutex_);
    opened_.wait(lock, [this] { return open_; });
    CallLog::BeginPage(page);
  }
  void Open() {
    std::lock_guard lock(mutex_);
    open_ = true;
    opened_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable opened_;
  bool open_ = false;
};

TEST(BackgroundSink, TheCallerWaitsWhileTheWorkerIsBehind) {
  constexpr size_t kBlock = 1024;
  constexpr int kSections = 20000;  // far more blocks than may wait
  GatedSink target;
  TBackgroundSink background(target, kBlock);
  std::atomic<int> printed = 0;
  std::thread caller([&] {
    background.BeginPage(1);
    for (; printed < kSections; ++printed) {
      background.PrintSection(1, 13, {{"RNumeroNF", std::to_string(printed.load())}});
    }
    background.Finish();
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  // Each section after the first takes at least 15 bytes (its values only): the blocks in
  // flight, the one replaying and the one being filled hold a few hundred sections at most.
  const int bound = static_cast<int>((TBackgroundSink::kBlocksInFlight + 2) * kBlock / 15);
  EXPECT_LE(printed.load(), bound);
  target.Open();
  caller.join();
  ASSERT_EQ(target.calls.size(), static_cast<size_t>(kSections) + 2);
  EXPECT_EQ(target.calls[kSections],
            "section 1 13 RNumeroNF=[" + std::to_string(kSections - 1) + "]");
}

// TMPDIR pointed at a folder of the test's own while it lives.
class ScratchTemporaryFolder {
 public:
  ScratchTemporaryFolder() : path_(dir_.File("tmp")) {
    std::filesystem::create_directories(path_);
    const char* old = std::getenv("TMPDIR");
    had_ = old != nullptr;
    old_ = had_ ? old : "";
    setenv("TMPDIR", path_.c_str(), 1);
  }
  ~ScratchTemporaryFolder() {
    if (had_) {
      setenv("TMPDIR", old_.c_str(), 1);
    } else {
      unsetenv("TMPDIR");
    }
  }
  size_t Files() const {
    size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(path_)) {
      ++count;
    }
    return count;
  }

 private:
  nrw::testing::ScratchDir dir_;  // before path_, which is made from it
  std::string path_, old_;
  bool had_ = false;
};

// Many blocks of calls go through the file and come back in order; each page header gets its
// counts ("n de N" for the page, and the sheet of the whole report); the file is removed.
TEST(RecordedSections, ReplaysEveryCallWithTheHeadersCompleted) {
  constexpr int kPages = 60;  // well over one block of calls
  ScratchTemporaryFolder tmp;
  CallLog direct;
  PrintSample(direct, kPages);
  TPageCountSink counter;
  PrintSample(counter, kPages);
  CallLog replayed;
  TRecordingProgressView progress;
  {
    TRecordedSections recording;
    EXPECT_EQ(tmp.Files(), 1u);
    PrintSample(recording, kPages);
    recording.Replay(replayed, counter.Totals(), &progress);
  }
  EXPECT_EQ(progress.stages, (std::vector<std::string>{"Desenhar 60 páginas"}));
  EXPECT_EQ(progress.visibility, (std::vector<TnProgressoVisivel>{TnProgressoVisivel::Completo,
                                                                  TnProgressoVisivel::Oculto}))
      << "shown while drawing, hidden after";
  EXPECT_EQ(tmp.Files(), 0u) << "the recording's file is gone";
  ASSERT_EQ(replayed.calls.size(), direct.calls.size());
  for (size_t i = 0; i < direct.calls.size(); ++i) {
    std::string expected = direct.calls[i];
    if (expected.rfind("header ", 0) == 0) {
      expected.insert(expected.size() - 1, " de " + std::to_string(kPages));
    }
    EXPECT_EQ(replayed.calls[i], expected);
  }
  EXPECT_EQ(replayed.calls[1], "header 1 14 8 Empresa=[ACME] Pagina=[1 de 60]");
}

TEST(RecordedSections, ARecordingWithoutItsEndIsRefused) {
  ScratchTemporaryFolder tmp;
  TRecordedSections recording;
  recording.BeginPage(1);
  recording.PrintSection(1, 13, {{"RNumeroNF", "1"}});
  CallLog replayed;
  try {
    recording.Replay(replayed, TPageTotals{});
    FAIL() << "replayed a report that never finished";
  } catch (const Exception& e) {
    EXPECT_NE(std::string(e.what()).find("ends before the report does"), std::string::npos)
        << e.what();
  }
  EXPECT_TRUE(replayed.calls.empty() || replayed.calls.back() != "finish");
}

}  // namespace
