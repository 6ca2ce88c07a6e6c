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

#include "host/block_sink.hpp"
#include "host/export.hpp"

class NRW_API TBackgroundSink : public TBlockSink {
 public:
  // Bytes of one block of calls, and how many blocks may wait for the worker.
  static constexpr size_t kBlockBytes = 256 * 1024;
  static constexpr size_t kBlocksInFlight = 8;

  explicit TBackgroundSink(TSectionSink& target, size_t block_bytes = kBlockBytes);
  ~TBackgroundSink() override;

 protected:
  // Queues a block for the worker, waiting while it is kBlocksInFlight blocks behind.
  void HandOver(std::string& block) override;
  // Waits for the worker to replay the last block, which finishes the target.
  void Finished() override;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};
