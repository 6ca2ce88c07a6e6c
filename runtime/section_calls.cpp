#include "runtime/section_calls.hpp"

#include <cstring>

#include "host/sysutils.hpp"
#include "runtime/field_names.hpp"

namespace nrw::section_calls {
namespace {

enum class Call : uint8_t {
  kStyle,
  kBeginPage,
  kHeader,
  kSection,        // with the names of its fields
  kSectionValues,  // with values only: the names are the section's last ones
  kEndPage,
  kFinish
};

void Begin(std::string& block, Call call) {
  block.push_back(static_cast<char>(call));
}

void PutNumber(std::string& block, int32_t value) {
  char bytes[sizeof value];
  std::memcpy(bytes, &value, sizeof value);
  block.append(bytes, sizeof value);
}

void PutText(std::string& block, std::string_view text) {
  PutNumber(block, static_cast<int32_t>(text.size()));
  block.append(text);
}

// A value's length stands before its text; a number still to be formatted is marked by this
// length instead, and followed by its pattern and its eight bytes.
constexpr int32_t kNumberMark = -1;

// The bytes `field` takes in a block.
size_t ValueSize(const TFieldValue& field) {
  return field.HasNumber() ? 2 * sizeof(int32_t) + field.pattern.size() + sizeof field.number
                           : sizeof(int32_t) + field.value.size();
}

// Writes `field` at `at`, which has room for ValueSize(field) bytes; returns where the next
// value goes.
char* WriteValue(char* at, const TFieldValue& field) {
  const auto put_number = [&at](int32_t value) {
    std::memcpy(at, &value, sizeof value);
    at += sizeof value;
  };
  const auto put_text = [&](std::string_view text) {
    put_number(static_cast<int32_t>(text.size()));
    std::memcpy(at, text.data(), text.size());
    at += text.size();
  };
  if (!field.HasNumber()) {
    put_text(field.value);
    return at;
  }
  put_number(kNumberMark);
  put_text(field.pattern);
  std::memcpy(at, &field.number, sizeof field.number);
  return at + sizeof field.number;
}

// The values of a section, one after another: the block grows once, by their exact size, and
// they are written in place (a section of twenty fields is sixty small appends otherwise).
void PutValues(std::string& block, const std::vector<const TFieldValue*>& values) {
  size_t size = 0;
  for (const TFieldValue* value : values) {
    size += ValueSize(*value);
  }
  const size_t start = block.size();
  block.resize(start + size);
  char* at = block.data() + start;
  for (const TFieldValue* value : values) {
    at = WriteValue(at, *value);
  }
}

void PutValue(std::string& block, const TFieldValue& field) {
  const size_t start = block.size();
  block.resize(start + ValueSize(field));
  WriteValue(block.data() + start, field);
}

// A count, then each field's name and value.
template <class NameAt, class ValueAt>
void PutNamedValues(std::string& block, size_t count, NameAt name_at, ValueAt value_at) {
  PutNumber(block, static_cast<int32_t>(count));
  for (size_t i = 0; i < count; ++i) {
    PutText(block, name_at(i));
    PutValue(block, value_at(i));
  }
}

void PutFields(std::string& block, const std::vector<TPrintedField>& fields) {
  PutNamedValues(
      block, fields.size(), [&](size_t i) -> std::string_view { return fields[i].name; },
      [&](size_t i) -> const TFieldValue& { return fields[i]; });
}

// Reads the calls of one block in the order they were put.
class BlockReader {
 public:
  explicit BlockReader(std::string_view block) : rest_(block) {}
  bool AtEnd() const { return rest_.empty(); }
  Call NextCall() {
    const auto call = static_cast<Call>(rest_.front());
    rest_.remove_prefix(1);
    return call;
  }
  int32_t Number() {
    int32_t value;
    std::memcpy(&value, rest_.data(), sizeof value);
    rest_.remove_prefix(sizeof value);
    return value;
  }
  std::string_view Text() {
    const auto size = static_cast<size_t>(Number());
    const std::string_view text = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return text;
  }
  // Into a list that keeps its strings' buffers from one section to the next.
  void Fields(std::vector<TPrintedField>& fields) {
    fields.resize(static_cast<size_t>(Number()));
    for (TPrintedField& field : fields) {
      field.name.assign(Text());
      Value(field);
    }
  }
  // The values only, into a list that holds the names already.
  void Values(std::vector<TPrintedField>& fields) {
    for (TPrintedField& field : fields) {
      Value(field);
    }
  }
  // A value as text: a number is formatted here.
  void Value(TPrintedField& field) {
    field.pattern.clear();
    int32_t mark;
    std::memcpy(&mark, rest_.data(), sizeof mark);
    if (mark != kNumberMark) {
      field.value.assign(Text());
      return;
    }
    rest_.remove_prefix(sizeof mark);
    const std::string_view pattern = Text();
    double number;
    std::memcpy(&number, rest_.data(), sizeof number);
    rest_.remove_prefix(sizeof number);
    field.value = FormatFloat(pattern, number);
  }

 private:
  std::string_view rest_;
};

}  // namespace

void Encoder::Style(std::string& block, const TSectionStyle& style) {
  Begin(block, Call::kStyle);
  PutNumber(block, (style.shaded ? 1 : 0) | (style.accent ? 2 : 0));
}

void Encoder::BeginPage(std::string& block, int32_t page) {
  Begin(block, Call::kBeginPage);
  PutNumber(block, page);
}

void Encoder::Header(std::string& block, int32_t page, const std::vector<TPrintedField>& fields,
                     int32_t title_size, int32_t text_size) {
  Begin(block, Call::kHeader);
  PutNumber(block, page);
  PutNumber(block, title_size);
  PutNumber(block, text_size);
  PutFields(block, fields);
}

void Encoder::Section(std::string& block, int32_t page, int32_t section,
                      const std::vector<TPrintedField>& fields) {
  SectionNames& known = NamesOf(section);
  const bool same = KeepFieldNames(known.names, fields);
  if (!same) {
    known.id = 0;
  }
  Begin(block, same ? Call::kSectionValues : Call::kSection);
  PutNumber(block, page);
  PutNumber(block, section);
  if (same) {
    for (const TPrintedField& field : fields) {
      PutValue(block, field);
    }
    return;
  }
  PutFields(block, fields);
}

void Encoder::Section(std::string& block, int32_t page, int32_t section,
                      const TSectionValues& values) {
  SectionNames& known = NamesOf(section);
  const bool same = values.names_id != 0 && known.id == values.names_id;
  Begin(block, same ? Call::kSectionValues : Call::kSection);
  PutNumber(block, page);
  PutNumber(block, section);
  if (same) {
    PutValues(block, values.values);
    return;
  }
  known.names.assign(values.names.begin(), values.names.end());
  known.id = values.names_id;
  PutNamedValues(
      block, values.names.size(), [&](size_t i) -> std::string_view { return values.names[i]; },
      [&](size_t i) -> const TFieldValue& { return *values.values[i]; });
}

Encoder::SectionNames& Encoder::NamesOf(int32_t section) {
  if (section >= 0 && section < kDenseSections) {
    if (static_cast<size_t>(section) >= dense_.size()) {
      dense_.resize(static_cast<size_t>(section) + 1);
    }
    return dense_[static_cast<size_t>(section)];
  }
  return sparse_[section];
}

void Encoder::EndPage(std::string& block, int32_t page) {
  Begin(block, Call::kEndPage);
  PutNumber(block, page);
}

void Encoder::Finish(std::string& block) {
  Begin(block, Call::kFinish);
}

bool Replayer::Replay(std::string_view block) {
  BlockReader in(block);
  while (!in.AtEnd()) {
    const Call call = in.NextCall();
    switch (call) {
      case Call::kStyle: {
        const int32_t bits = in.Number();
        target_.SetStyle(TSectionStyle{(bits & 1) != 0, (bits & 2) != 0});
        break;
      }
      case Call::kBeginPage:
        target_.BeginPage(in.Number());
        break;
      case Call::kHeader: {
        const int32_t page = in.Number(), title_size = in.Number(), text_size = in.Number();
        in.Fields(header_);
        target_.PrintHeader(page, header_, title_size, text_size);
        break;
      }
      case Call::kSection:
      case Call::kSectionValues: {
        const bool values_only = call == Call::kSectionValues;
        const int32_t page = in.Number(), section = in.Number();
        std::vector<TPrintedField>& fields = sections_[section];
        if (values_only) {
          in.Values(fields);
        } else {
          in.Fields(fields);
        }
        target_.PrintSection(page, section, fields);
        break;
      }
      case Call::kEndPage:
        target_.EndPage(in.Number());
        break;
      case Call::kFinish:
        target_.Finish();
        return true;
    }
  }
  return false;
}

}  // namespace nrw::section_calls
