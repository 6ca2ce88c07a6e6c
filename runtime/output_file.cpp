#include "host/output_file.hpp"

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "host/exception.hpp"
#include "host/temp_files.hpp"

TAtomicOutputFile::TAtomicOutputFile(std::string path) : path_(std::move(path)) {
  temporary_ = path_ + ".partial-" + std::to_string(getpid());
  RegisterTemporaryFile(temporary_);
  stream_.open(temporary_, std::ios::binary | std::ios::trunc);
  if (!stream_) {
    throw Exception("cannot write the output file '" + path_ + "'");
  }
}

TAtomicOutputFile::~TAtomicOutputFile() {
  if (!committed_) {
    stream_.close();
    std::error_code ignored;
    std::filesystem::remove(temporary_, ignored);
  }
  UnregisterTemporaryFile(temporary_);
}

void TAtomicOutputFile::Commit() {
  stream_.flush();
  const bool written = stream_.good();
  stream_.close();
  if (!written || stream_.fail()) {
    throw Exception("cannot write the output file '" + path_ + "' (disk full?)");
  }
  std::error_code error;
  std::filesystem::rename(temporary_, path_, error);
  if (error) {
    throw Exception("cannot write the output file '" + path_ + "': " + error.message());
  }
  committed_ = true;
}

namespace {

void WriteLine(std::ostream& out, int32_t page, const nlohmann::ordered_json& section,
               const std::vector<TPrintedField>& fields) {
  nlohmann::ordered_json line;
  line["page"] = page;
  line["section"] = section;
  nlohmann::ordered_json values = nlohmann::ordered_json::object();
  for (const TPrintedField& field : fields) {
    values[field.name] = field.value;
  }
  line["fields"] = values;
  out << line.dump() << '\n';
}

}  // namespace

void TSectionsTraceSink::PrintSection(int32_t page, int32_t section,
                                      const std::vector<TPrintedField>& fields) {
  WriteLine(out_, page, section, fields);
}

void TSectionsTraceSink::PrintHeader(int32_t page, const std::vector<TPrintedField>& fields,
                                     int32_t, int32_t) {
  WriteLine(out_, page, "header", fields);
}
