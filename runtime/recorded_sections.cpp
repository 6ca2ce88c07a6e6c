// A block in the file: its size (4 bytes, native order) and its calls (runtime/section_calls).
#include "host/recorded_sections.hpp"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "host/exception.hpp"
#include "host/temp_files.hpp"
#include "runtime/fiscal_results.hpp"
#include "runtime/section_calls.hpp"

namespace calls = nrw::section_calls;

namespace {

constexpr size_t kBlockBytes = 256 * 1024;

// Hands every call on to the output, a page header completed with the counts first.
class HeaderCompleter : public TSectionSink {
 public:
  HeaderCompleter(TSectionSink& target, const TPageTotals& totals)
      : target_(target), totals_(totals) {}
  void SetStyle(const TSectionStyle& style) override { target_.SetStyle(style); }
  void BeginPage(int32_t page) override { target_.BeginPage(page); }
  void PrintHeader(int32_t page, const std::vector<TPrintedField>& fields, int32_t title_size,
                   int32_t text_size) override {
    header_ = fields;
    totals_.CompleteHeader(page, header_);
    target_.PrintHeader(page, header_, title_size, text_size);
  }
  void PrintSection(int32_t page, int32_t section,
                    const std::vector<TPrintedField>& fields) override {
    target_.PrintSection(page, section, fields);
  }
  void EndPage(int32_t page) override { target_.EndPage(page); }
  void Finish() override { target_.Finish(); }

 private:
  TSectionSink& target_;
  const TPageTotals& totals_;
  std::vector<TPrintedField> header_;
};

}  // namespace

TRecordedSections::TRecordedSections() : TBlockSink(kBlockBytes) {
  static std::atomic<int> serial{0};
  path_ = nrw::TemporaryFolder() + "/nrw-sections-" + std::to_string(getpid()) + "-" +
          std::to_string(serial++) + ".bin";
  RegisterTemporaryFile(path_);
  file_ = std::fopen(path_.c_str(), "w+b");
  if (file_ == nullptr) {
    UnregisterTemporaryFile(path_);
    throw Exception("cannot create the temporary file '" + path_ + "': " + std::strerror(errno));
  }
}

TRecordedSections::~TRecordedSections() {
  std::fclose(file_);
  std::remove(path_.c_str());
  UnregisterTemporaryFile(path_);
}

void TRecordedSections::HandOver(std::string& block) {
  const auto size = static_cast<uint32_t>(block.size());
  if (std::fwrite(&size, sizeof size, 1, file_) != 1 ||
      std::fwrite(block.data(), 1, block.size(), file_) != block.size()) {
    throw Exception("cannot write the temporary file '" + path_ + "': " + std::strerror(errno));
  }
  block.clear();
}

void TRecordedSections::Finished() {
  if (std::fflush(file_) != 0) {
    throw Exception("cannot write the temporary file '" + path_ + "': " + std::strerror(errno));
  }
}

void TRecordedSections::Replay(TSectionSink& target, const TPageTotals& totals,
                               TProgressView* progress) {
  // The run hid its progress when it ended: the drawing shows it again while it lasts.
  struct Shown {
    TProgressView* view;
    ~Shown() {
      if (view != nullptr) {
        view->VisibilityChanged(TnProgressoVisivel::Oculto);
      }
    }
  } shown{progress};
  if (progress != nullptr) {
    progress->VisibilityChanged(TnProgressoVisivel::Completo);
    progress->StageAdvanced("Desenhar " + std::to_string(totals.pages) + " páginas", 0, 1);
  }
  HeaderCompleter completer(target, totals);
  calls::Replayer replayer(completer);
  std::rewind(file_);
  std::string block;
  uint32_t size = 0;
  while (std::fread(&size, sizeof size, 1, file_) == 1) {
    block.resize(size);
    if (std::fread(block.data(), 1, size, file_) != size) {
      break;
    }
    if (replayer.Replay(block)) {
      return;
    }
  }
  throw Exception("the temporary file '" + path_ + "' ends before the report does");
}
