#include "host/block_sink.hpp"

#include "runtime/section_calls.hpp"

TBlockSink::TBlockSink(size_t block_bytes)
    : block_bytes_(block_bytes), encoder_(std::make_unique<nrw::section_calls::Encoder>()) {
  block_.reserve(block_bytes_);
}

TBlockSink::~TBlockSink() = default;

void TBlockSink::SetStyle(const TSectionStyle& style) {
  encoder_->Style(block_, style);
}

void TBlockSink::BeginPage(int32_t page) {
  encoder_->BeginPage(block_, page);
}

void TBlockSink::PrintHeader(int32_t page, const std::vector<TPrintedField>& fields,
                             int32_t title_size, int32_t text_size) {
  encoder_->Header(block_, page, fields, title_size, text_size);
  HandOverIfFull();
}

void TBlockSink::PrintSection(int32_t page, int32_t section,
                              const std::vector<TPrintedField>& fields) {
  encoder_->Section(block_, page, section, fields);
  HandOverIfFull();
}

void TBlockSink::PrintValues(int32_t page, int32_t section, const TSectionValues& values) {
  encoder_->Section(block_, page, section, values);
  HandOverIfFull();
}

void TBlockSink::EndPage(int32_t page) {
  encoder_->EndPage(block_, page);
  HandOverIfFull();
}

void TBlockSink::Finish() {
  encoder_->Finish(block_);
  HandOver(block_);
  Finished();
}

void TBlockSink::HandOverIfFull() {
  if (block_.size() >= block_bytes_) {
    HandOver(block_);
    block_.reserve(block_bytes_);
  }
}
