// Report outputs: the sections trace, and the file an output is written to. The file is written
// under a temporary name beside the target and renamed into place by Commit, so a failed run
// leaves no partial output file.
#pragma once

#include <fstream>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/export.hpp"
#include "host/section_sink.hpp"

class NRW_API TAtomicOutputFile {
 public:
  // Raises Exception when the folder cannot be written.
  explicit TAtomicOutputFile(std::string path);
  ~TAtomicOutputFile();  // removes the temporary file unless committed
  std::ostream& Stream() { return stream_; }
  // The file being written, for writers that take a file name rather than a stream (write it
  // instead of the stream, then Commit).
  const std::string& TemporaryPath() const { return temporary_; }
  // Flushes, checks the writes and renames into place; raises Exception on failure.
  void Commit();

 private:
  static constexpr std::streamsize kBufferBytes = 1 << 16;

  std::string path_, temporary_;
  std::unique_ptr<char[]> buffer_;  // the stream's, so declared before it
  std::ofstream stream_;
  bool committed_ = false;
};

// One JSON object per line for every printed section, in print order, with every field the
// layout shows in it and its value at print time:
//   {"page": 1, "section": 13, "fields": {"RDataLctoFis": "02/01", ...}}
// and the standard header as {"page": n, "section": "header", "fields": {...}}.
class NRW_API TSectionsTraceSink : public TSectionSink {
 public:
  explicit TSectionsTraceSink(std::ostream& out) : out_(out) {}
  void PrintSection(int32_t page, int32_t section,
                    const std::vector<TPrintedField>& fields) override;
  void PrintHeader(int32_t page, const std::vector<TPrintedField>& fields, int32_t title_size,
                   int32_t text_size) override;
  void Finish() override { out_.flush(); }

 private:
  // What the lines of one section share: its part of the line before the fields
  // (,"section":S,"fields":{), and the names of its fields as JSON keys, each with its colon
  // (and the comma before all but the first), made again when the names change.
  struct Keys {
    std::string section;
    std::vector<std::string> names, json;
  };
  // Writes {"page":P,"section":S,"fields":{...}} and a newline.
  void WriteLine(int32_t page, Keys& keys, const std::vector<TPrintedField>& fields);
  static void UpdateKeys(Keys& keys, const std::vector<TPrintedField>& fields);

  std::ostream& out_;
  std::string line_;  // reused for every line
  std::unordered_map<int32_t, Keys> sections_;
  Keys header_;
};
