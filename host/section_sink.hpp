// Where printed sections go: the engine hands each printed section, with the values of its
// fields at print time, to every attached sink. Renderers (PDF, text, sections trace) and the
// recording sink of the tests implement this one interface.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "host/export.hpp"

// A field's value: a text, or a number still to be formatted (`pattern` not empty: the text is
// FormatFloat(pattern, number)). The engine keeps its named values so.
struct NRW_API TFieldValue {
  std::string value;
  std::string pattern;
  double number = 0;
  bool operator==(const TFieldValue&) const = default;
  bool HasNumber() const { return !pattern.empty(); }
  // The text, formatted when the value is a number.
  std::string Text() const;
};

// A printed field's name and value. Only a sink that says it takes numbers (TakesNumbers) is
// given a field that carries one; every other sink gets the text.
struct NRW_API TPrintedField : TFieldValue {
  TPrintedField() = default;
  TPrintedField(std::string field_name, std::string text)
      : TFieldValue{std::move(text), {}, 0}, name(std::move(field_name)) {}

  std::string name;
  bool operator==(const TPrintedField&) const = default;
};

// A printed section as the engine holds it: its fields' names and, in the same order, their
// values. `names_id` stands for the list of names: the engine gives every list it makes an id of
// its own and never changes the names under it, so a sink that has seen the id need not compare
// the names again.
struct TSectionValues {
  uint64_t names_id = 0;
  const std::vector<std::string>& names;
  const std::vector<const TFieldValue*>& values;
};

// The section number under which the standard page header is recorded.
constexpr int32_t kHeaderSection = 0;

// How the next printed section looks: a striped shade and/or the accent colour.
struct NRW_API TSectionStyle {
  bool shaded = false;
  bool accent = false;
};

class NRW_API TSectionSink {
 public:
  virtual ~TSectionSink();
  // The style of the section printed next (called right before PrintSection).
  virtual void SetStyle(const TSectionStyle& style) { (void)style; }
  virtual void BeginPage(int32_t page) { (void)page; }
  // The standard page header (company, establishment, title, period, emission, page), printed
  // by the header printer at the top of a page. Font sizes are in points.
  virtual void PrintHeader(int32_t page, const std::vector<TPrintedField>& fields,
                           int32_t title_size, int32_t text_size) {
    (void)page, (void)fields, (void)title_size, (void)text_size;
  }
  virtual void PrintSection(int32_t page, int32_t section,
                            const std::vector<TPrintedField>& fields) = 0;
  virtual void EndPage(int32_t page) { (void)page; }
  virtual void Finish() {}
  // True when the sink takes fields whose numbers are still to be formatted: the formatting
  // then happens where the sink's work does (the output's thread, for the background sink).
  virtual bool TakesNumbers() const { return false; }
  // True when the sink takes a section as the engine holds it (PrintValues, numbers not yet
  // formatted) instead of a list of printed fields; the engine then copies no values for it.
  virtual bool TakesValues() const { return false; }
  virtual void PrintValues(int32_t page, int32_t section, const TSectionValues& values) {
    (void)page, (void)section, (void)values;
  }
};

// Keeps every printed section in memory: for tests and short reports only.
class NRW_API TRecordingSink : public TSectionSink {
 public:
  struct Entry {
    int32_t page = 0;
    int32_t section = 0;
    std::vector<TPrintedField> fields;
    // The value the field had when the section printed ("" when the section lacks it).
    std::string Field(const std::string& name) const;
  };

  void PrintSection(int32_t page, int32_t section,
                    const std::vector<TPrintedField>& fields) override;
  // Recorded as section kHeaderSection.
  void PrintHeader(int32_t page, const std::vector<TPrintedField>& fields, int32_t title_size,
                   int32_t text_size) override;
  const std::vector<Entry>& Entries() const { return entries_; }
  std::vector<int32_t> Sections() const;
  void Clear() { entries_.clear(); }

 private:
  std::vector<Entry> entries_;
};
