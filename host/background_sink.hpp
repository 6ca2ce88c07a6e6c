// A section sink that hands every call to another sink on a thread of its own, so that drawing
// and writing the output (the PDF renderer's shaping and compression, the text renderer's
// formatting and writes) run beside the report's listing instead of after each section.
//
// The calls are copied, in order, into blocks of bytes; a full block goes to the worker, which
// replays its calls on the target. At most a few blocks are in flight (the listing waits when
// the worker is behind), so memory stays bounded whatever the report's size. The worker decodes
// into field lists kept per section number, so after the first sections nothing is allocated.
//
// Errors: an exception the target raises on the worker is raised again on the caller's thread
// at the next block handed over and at the latest by Finish. Destroying the sink without
// Finish (the report failed) stops the worker without finishing the target.
#pragma once

#include <cstdint>
#include <memory>

#include "host/export.hpp"
#include "host/section_sink.hpp"

class NRW_API TBackgroundSink : public TSectionSink {
 public:
  // Bytes of one block of calls, and how many blocks may wait for the worker.
  static constexpr size_t kBlockBytes = 256 * 1024;
  static constexpr size_t kBlocksInFlight = 8;

  explicit TBackgroundSink(TSectionSink& target, size_t block_bytes = kBlockBytes);
  ~TBackgroundSink() override;
  TBackgroundSink(const TBackgroundSink&) = delete;
  TBackgroundSink& operator=(const TBackgroundSink&) = delete;

  void SetStyle(const TSectionStyle& style) override;
  void BeginPage(int32_t page) override;
  void PrintHeader(int32_t page, const std::vector<TPrintedField>& fields, int32_t title_size,
                   int32_t text_size) override;
  void PrintSection(int32_t page, int32_t section,
                    const std::vector<TPrintedField>& fields) override;
  void EndPage(int32_t page) override;
  // Hands over the last block, finishes the target on the worker and waits for it.
  void Finish() override;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};
