// A section sink that writes every call, in order, into blocks of bytes (runtime/section_calls)
// and hands each full block, and the last one at Finish, to what its subclass does with blocks:
// TBackgroundSink replays them on a worker thread, TRecordedSections keeps them in a temporary
// file. Memory holds the block being filled.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "host/export.hpp"
#include "host/section_sink.hpp"

namespace nrw::section_calls {
class Encoder;
}

class NRW_API TBlockSink : public TSectionSink {
 public:
  ~TBlockSink() override;
  TBlockSink(const TBlockSink&) = delete;
  TBlockSink& operator=(const TBlockSink&) = delete;

  void SetStyle(const TSectionStyle& style) final;
  void BeginPage(int32_t page) final;
  void PrintHeader(int32_t page, const std::vector<TPrintedField>& fields, int32_t title_size,
                   int32_t text_size) final;
  void PrintSection(int32_t page, int32_t section, const std::vector<TPrintedField>& fields) final;
  void PrintValues(int32_t page, int32_t section, const TSectionValues& values) final;
  void EndPage(int32_t page) final;
  // Puts the end of the report into the block, hands it over, then calls Finished.
  void Finish() final;
  // A number goes into the block as it is, and is formatted when the block is replayed.
  bool TakesNumbers() const final { return true; }
  bool TakesValues() const final { return true; }

 protected:
  // A block is handed over once it holds `block_bytes` or more.
  explicit TBlockSink(size_t block_bytes);
  // Takes a block of calls, in order; leaves `block` empty (or an emptied buffer to reuse) for
  // the calls that follow.
  virtual void HandOver(std::string& block) = 0;
  // After the block ending with Finish was handed over.
  virtual void Finished() {}

 private:
  void HandOverIfFull();

  const size_t block_bytes_;
  std::string block_;
  std::unique_ptr<nrw::section_calls::Encoder> encoder_;
};
