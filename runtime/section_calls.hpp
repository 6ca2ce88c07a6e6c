// Section-sink calls as bytes, to be replayed later on another sink: on another thread (the
// background sink) or from a temporary file (the recorded pagination pass).
//
// A call is one byte naming it, then its numbers (4 bytes each, native order: the bytes never
// leave the process and its own temporary files) and its texts (a 4-byte length and the bytes).
// A section whose field names are those its number had the last time goes with its values only
// (a month's listing repeats a handful of sections a million times).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/section_sink.hpp"

namespace nrw::section_calls {

class Encoder {
 public:
  void Style(std::string& block, const TSectionStyle& style);
  void BeginPage(std::string& block, int32_t page);
  void Header(std::string& block, int32_t page, const std::vector<TPrintedField>& fields,
              int32_t title_size, int32_t text_size);
  void Section(std::string& block, int32_t page, int32_t section,
               const std::vector<TPrintedField>& fields);
  // A section as the engine holds it: its names go only when their id is not the one the
  // section's number had the last time.
  void Section(std::string& block, int32_t page, int32_t section, const TSectionValues& values);
  void EndPage(std::string& block, int32_t page);
  void Finish(std::string& block);

 private:
  // The field names a section number had the last time it was put, and the id they stood for
  // (0: none known).
  struct SectionNames {
    std::vector<std::string> names;
    uint64_t id = 0;
  };
  SectionNames& NamesOf(int32_t section);
  // Section numbers below this are kept in a vector; a layout numbers its sections from 1.
  static constexpr int32_t kDenseSections = 1024;
  std::vector<SectionNames> dense_;
  std::unordered_map<int32_t, SectionNames> sparse_;
};

// Replays blocks of calls on a sink, in the order they were put (by one Encoder). It decodes into
// field lists kept per section number, so after the first sections nothing is allocated.
class Replayer {
 public:
  explicit Replayer(TSectionSink& target) : target_(target) {}
  // True when the block ended with the Finish call.
  bool Replay(std::string_view block);

 private:
  TSectionSink& target_;
  std::unordered_map<int32_t, std::vector<TPrintedField>> sections_;
  std::vector<TPrintedField> header_;
};

}  // namespace nrw::section_calls
