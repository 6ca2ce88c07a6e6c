// TnrwReport: the host's report engine. It holds the report's named text values (report
// parameters and layout fields share one store), the loaded layout, the page state, and the
// after-section event; it hands every printed section to its sinks.
//
// Engines live where a 32-bit integer reaches them: the host passes an engine to a module's
// Imprimir as a 32-bit signed integer, so every TnrwReport (and descendant) is allocated in the
// lowest 2 GiB of the address space, and a registry of live engines answers the module's
// membership test without dereferencing unknown addresses.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/case_fold.hpp"
#include "host/export.hpp"
#include "host/memory_data_set.hpp"
#include "host/object.hpp"
#include "host/page_flow.hpp"
#include "host/page_totals.hpp"
#include "host/progress.hpp"
#include "host/report_layout.hpp"
#include "host/section_sink.hpp"

class TnrwReport;

// The after-section event: code and object parts, as the host framework's method pointers.
using TSectionEventCode = void (*)(void* data, TObject* sender, int32_t section);
struct NRW_API TSectionEvent {
  TSectionEventCode Code = nullptr;
  void* Data = nullptr;
  bool Assigned() const { return Code != nullptr; }
};

// Binds a member function `void T::Method(TObject*, int32_t)` as a section event of `object`.
template <class T, void (T::*Method)(TObject*, int32_t)>
TSectionEvent MakeSectionEvent(T* object) {
  return TSectionEvent{[](void* data, TObject* sender, int32_t section) {
                         (static_cast<T*>(data)->*Method)(sender, section);
                       },
                       object};
}

class NRW_API TnrwReport : public TComponent {
 public:
  TnrwReport();
  ~TnrwReport() override;

  // Engines are placed below 2 GiB (see above); descendants inherit the placement.
  static void* operator new(std::size_t size);
  static void operator delete(void* pointer, std::size_t size);

  // Named text values: report parameters and layout fields, names compared without regard to
  // case. An absent name reads as "". Setting returns the stored text.
  std::string RepParam(std::string_view name) const;
  // The same without a copy; the text stays valid until the parameter is set again.
  std::string_view RepParamText(std::string_view name) const;
  const std::string& RepParam(std::string_view name, std::string_view value);
  // Sets the value to a number that prints as FormatFloat(pattern, value). It is formatted when
  // it is read, or by the sinks that take numbers (on the output's thread), not here.
  void RepParamNumber(std::string_view name, std::string_view pattern, double value);
  bool HasRepParam(std::string_view name) const;
  // A named value. Layout fields get a slot (not yet set) when their section first prints. A
  // number not yet formatted has its pattern in `pattern`; reading the slot formats it.
  struct Slot : TFieldValue {
    bool set = false;
  };
  // A named value's place, for a caller that sets the same values line after line: set through
  // its place, a value is not looked up by its name again. Finding a place sets nothing; a
  // place stays valid while the engine lives.
  Slot* Place(std::string_view name) { return &SlotOf(name); }
  void RepParam(Slot* place, std::string_view value);
  void RepParamNumber(Slot* place, std::string_view pattern, double value);

  void SetLayout(TReportLayout layout);
  const TReportLayout& Layout() const { return layout_; }

  // Prints section n with the current field values. Opens a page first when the page-end state
  // is set or the section does not fit in what is left of the page (printing band 1, whose
  // after-section event lets the module print its page header). A section the layout lacks
  // prints nothing.
  void RepPrintSection(int32_t section);
  bool DelphiCanPrintSection(int32_t section) const { return layout_.HasSection(section); }

  // Set: the current page is closed (or none is open yet) and the next print opens a new page.
  void SetCSLIsPageEnd(bool page_end) { page_end_ = page_end; }
  bool CSLIsPageEnd() const { return page_end_; }
  int32_t PageNumber() const { return page_number_; }
  // The page counts of a pagination pass over the same report (none by default).
  void SetPageTotals(TPageTotals totals) { page_totals_ = std::move(totals); }
  const TPageTotals& PageTotals() const { return page_totals_; }
  void CSLShowProgress(int32_t current, int32_t total);

  // Hands the standard page header to the sinks, on the current page.
  void RepPrintHeader(const std::vector<TPrintedField>& fields, int32_t title_size,
                      int32_t text_size);
  // The emission date and time the header prints: now, unless the host fixed it.
  TDateTime DataHoraEmissao() const;
  void SetDataHoraEmissao(TDateTime value) { emission_ = value; }

  // Called before every section is printed, so that the report object can choose its style
  // (the base class stripes and recolours the sections its module lists).
  void SetBeforeSection(TSectionEvent event) { before_section_ = event; }
  TSectionEvent BeforeSection() const { return before_section_; }
  void SetSectionStyle(const TSectionStyle& style) { style_ = style; }

  void SetAfterSection(TSectionEvent event) { after_section_ = event; }
  TSectionEvent AfterSection() const { return after_section_; }

  void AddSink(TSectionSink* sink);
  void RemoveSink(TSectionSink* sink);
  // Closes the last page and tells the sinks that the report is complete.
  void EndReport();

  // The companies and establishments to print: "CODIGOEMPRESA" and "CODIGOESTAB" (integers).
  TnClientDataSetMem* Estabelecimentos() { return establishments_; }
  // The host data module that owns the progress display.
  TnDM* DMPower() { return dm_power_; }

 private:
  // A section's field names and the slots their values come from, made once per layout, with
  // an id of their own for the sinks that take values. `fields` are the printed fields copied
  // from the slots and `texts` the same with every number formatted, for the sinks that take
  // printed fields (with numbers, or only texts).
  struct SectionFields {
    std::vector<std::string> names;
    std::vector<const TFieldValue*> values;
    uint64_t names_id = 0;
    std::vector<TPrintedField> fields;
    std::vector<TPrintedField> texts;
  };

  void OpenPage();
  void Emit(int32_t section);
  // The section's printed fields (with numbers) copied from its slots; true when one of them
  // holds a number still to be formatted.
  static bool CopyFromSlots(SectionFields& current);
  Slot& SlotOf(std::string_view name);
  const Slot* FindSlot(std::string_view name) const;
  // The slot's text, its number formatted (and kept) first.
  static const std::string& TextOf(Slot& slot);
  SectionFields& FieldsOf(const TLayoutSection& section);

  // Slots are never removed: their addresses and their names' stay valid while the engine lives.
  std::unordered_map<std::string, Slot, nrw::CaseFoldHash, nrw::CaseFoldEqual> values_;
  // The slots found last, placed by the address of the name's text. A module names its fields
  // with literals, whose addresses repeat, so most look-ups compare a few bytes instead of
  // hashing the name; an entry counts only when the text still reads exactly the slot's name.
  struct RecentSlot {
    const char* text = nullptr;
    const std::string* name = nullptr;
    Slot* slot = nullptr;
  };
  static constexpr size_t kRecentSlots = 256;
  std::array<RecentSlot, kRecentSlots> recent_{};
  std::unordered_map<int32_t, SectionFields> section_fields_;
  TReportLayout layout_;
  bool page_end_ = true;
  int32_t page_number_ = 0;
  TSectionEvent after_section_;
  TSectionEvent before_section_;
  TSectionStyle style_;
  TPageFlow flow_{0};
  TDateTime emission_ = 0;  // 0: now
  TPageTotals page_totals_;
  std::vector<TSectionSink*> sinks_;
  TnClientDataSetMem* establishments_;  // owned as a component
  TnDM* dm_power_;                      // owned as a component
};

// True only for the address of a live TnrwReport (or descendant); never for 0. The address is
// looked up, never dereferenced.
NRW_API bool IsReportEngine(uintptr_t address);
// The engine's address as the 32-bit signed integer that a host passes to Imprimir.
NRW_API int32_t ReportAddressAsInt32(const TnrwReport* report);
