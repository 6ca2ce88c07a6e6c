#include "host/report.hpp"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <unordered_set>

#include "host/sysutils.hpp"
#include "runtime/low_address_allocator.hpp"

namespace {

// The band the engine prints at the top of every page.
constexpr int32_t kPageHeaderBand = 1;

// Addresses of the live engines. Engines may be created on any host thread.
struct EngineRegistry {
  std::mutex mutex;
  std::unordered_set<uintptr_t> live;
};

EngineRegistry& Registry() {
  static EngineRegistry registry;
  return registry;
}

// `texts` becomes `fields` with every number formatted; its strings' buffers are reused.
void CopyAsTexts(const std::vector<TPrintedField>& fields, std::vector<TPrintedField>& texts) {
  texts.resize(fields.size());
  for (size_t i = 0; i < fields.size(); ++i) {
    texts[i].name.assign(fields[i].name);
    if (fields[i].HasNumber()) {
      texts[i].value = fields[i].Text();
    } else {
      texts[i].value.assign(fields[i].value);
    }
  }
}

}  // namespace

void* TnrwReport::operator new(std::size_t size) {
  return nrw::AllocateLow(size);
}

void TnrwReport::operator delete(void* pointer, std::size_t size) {
  nrw::FreeLow(pointer, size);
}

TnrwReport::TnrwReport()
    : establishments_(new TnClientDataSetMem(
          this, {{"CODIGOEMPRESA", TFieldType::Integer}, {"CODIGOESTAB", TFieldType::Integer}})),
      dm_power_(new TnDM(this)) {
  establishments_->SetName("cdsEstab");
  std::lock_guard lock(Registry().mutex);
  Registry().live.insert(reinterpret_cast<uintptr_t>(this));
}

TnrwReport::~TnrwReport() {
  std::lock_guard lock(Registry().mutex);
  Registry().live.erase(reinterpret_cast<uintptr_t>(this));
}

TnrwReport::Slot& TnrwReport::SlotOf(std::string_view name) {
  // Literals sit at least 8 bytes apart more often than not: the low bits say little.
  RecentSlot& recent = recent_[(reinterpret_cast<uintptr_t>(name.data()) >> 3) % kRecentSlots];
  if (recent.text == name.data() && recent.name != nullptr && *recent.name == name) {
    return *recent.slot;
  }
  auto it = values_.find(name);
  if (it == values_.end()) {
    it = values_.try_emplace(std::string(name)).first;
  }
  recent = {name.data(), &it->first, &it->second};
  return it->second;
}

const TnrwReport::Slot* TnrwReport::FindSlot(std::string_view name) const {
  const auto it = values_.find(name);
  return it != values_.end() && it->second.set ? &it->second : nullptr;
}

const std::string& TnrwReport::TextOf(Slot& slot) {
  if (slot.HasNumber()) {
    slot.value = slot.Text();
    slot.pattern.clear();
  }
  return slot.value;
}

// A number read as text is formatted once and kept as the slot's text: the slots are the
// engine's cache of values, which a read does not change.
std::string TnrwReport::RepParam(std::string_view name) const {
  const Slot* slot = FindSlot(name);
  return slot != nullptr ? TextOf(const_cast<Slot&>(*slot)) : std::string();
}

std::string_view TnrwReport::RepParamText(std::string_view name) const {
  const Slot* slot = FindSlot(name);
  return slot != nullptr ? std::string_view(TextOf(const_cast<Slot&>(*slot))) : std::string_view();
}

const std::string& TnrwReport::RepParam(std::string_view name, std::string_view value) {
  Slot* slot = &SlotOf(name);
  RepParam(slot, value);
  return slot->value;
}

void TnrwReport::RepParam(Slot* place, std::string_view value) {
  place->value.assign(value);
  place->pattern.clear();
  place->set = true;
}

void TnrwReport::RepParamNumber(std::string_view name, std::string_view pattern, double value) {
  RepParamNumber(&SlotOf(name), pattern, value);
}

void TnrwReport::RepParamNumber(Slot* place, std::string_view pattern, double value) {
  if (pattern.empty()) {
    RepParam(place, FormatFloat(pattern, value));
    return;
  }
  place->pattern.assign(pattern);
  place->number = value;
  place->set = true;
}

bool TnrwReport::HasRepParam(std::string_view name) const {
  return FindSlot(name) != nullptr;
}

// Slots are map nodes, whose addresses stay put while the map grows. Every list of names gets
// an id never given before, also by another engine: a sink may be handed sections by several.
TnrwReport::SectionFields& TnrwReport::FieldsOf(const TLayoutSection& section) {
  static std::atomic<uint64_t> last_names_id{0};
  const auto [it, added] = section_fields_.try_emplace(section.number);
  if (added) {
    SectionFields& current = it->second;
    current.names = section.fields;
    current.names_id = ++last_names_id;
    for (const std::string& name : section.fields) {
      current.values.push_back(&SlotOf(name));
      current.fields.push_back({name, std::string()});
    }
  }
  return it->second;
}

void TnrwReport::SetLayout(TReportLayout layout) {
  layout_ = std::move(layout);
  section_fields_.clear();
  flow_ = TPageFlow(layout_.page.BodyHeight());
}

void TnrwReport::RepPrintSection(int32_t section) {
  const TLayoutSection* layout_section = layout_.Section(section);
  if (layout_section == nullptr) {
    return;
  }
  if (!page_end_ && !flow_.Fits(layout_section->height)) {
    page_end_ = true;
  }
  if (page_end_) {
    OpenPage();
  }
  Emit(section);
}

void TnrwReport::OpenPage() {
  if (page_number_ > 0) {
    for (TSectionSink* sink : sinks_) {
      sink->EndPage(page_number_);
    }
  }
  ++page_number_;
  page_end_ = false;
  flow_.NewPage();
  for (TSectionSink* sink : sinks_) {
    sink->BeginPage(page_number_);
  }
  Emit(kPageHeaderBand);
}

// The sinks get the values the fields hold after the before-section event, which chooses the
// section's style.
void TnrwReport::Emit(int32_t section) {
  static const std::vector<TPrintedField> kNoFields;
  const TLayoutSection* layout_section = layout_.Section(section);
  SectionFields* current = layout_section != nullptr ? &FieldsOf(*layout_section) : nullptr;
  if (layout_section != nullptr) {
    flow_.Place(layout_section->height);
  }
  style_ = TSectionStyle{};
  if (before_section_.Assigned()) {
    before_section_.Code(before_section_.Data, this, section);
  }
  // The printed fields are copied from the slots for the first sink that takes them, and
  // copied again with their numbers formatted for the first that takes only texts, when the
  // section holds a number.
  bool fields_made = false, numbers = false, texts_made = false;
  for (TSectionSink* sink : sinks_) {
    sink->SetStyle(style_);
    if (current == nullptr) {
      sink->PrintSection(page_number_, section, kNoFields);
    } else if (sink->TakesValues()) {
      sink->PrintValues(page_number_, section,
                        TSectionValues{current->names_id, current->names, current->values});
    } else {
      if (!fields_made) {
        numbers = CopyFromSlots(*current);
        fields_made = true;
      }
      const bool texts = numbers && !sink->TakesNumbers();
      if (texts && !texts_made) {
        CopyAsTexts(current->fields, current->texts);
        texts_made = true;
      }
      sink->PrintSection(page_number_, section, texts ? current->texts : current->fields);
    }
  }
  if (after_section_.Assigned()) {
    after_section_.Code(after_section_.Data, this, section);
  }
}

// The printed fields hold their names from the start.
bool TnrwReport::CopyFromSlots(SectionFields& current) {
  bool numbers = false;
  for (size_t i = 0; i < current.values.size(); ++i) {
    static_cast<TFieldValue&>(current.fields[i]) = *current.values[i];
    numbers = numbers || current.values[i]->HasNumber();
  }
  return numbers;
}

void TnrwReport::RepPrintHeader(const std::vector<TPrintedField>& fields, int32_t title_size,
                                int32_t text_size) {
  flow_.Place(layout_.page.header_height);
  for (TSectionSink* sink : sinks_) {
    sink->PrintHeader(page_number_, fields, title_size, text_size);
  }
}

TDateTime TnrwReport::DataHoraEmissao() const {
  return emission_ != 0 ? emission_ : Now();
}

void TnrwReport::CSLShowProgress(int32_t current, int32_t total) {
  if (TProgressView* view = dm_power_->GetProgresso()->View()) {
    view->EngineProgress(current, total);
  }
}

void TnrwReport::AddSink(TSectionSink* sink) {
  sinks_.push_back(sink);
}

void TnrwReport::RemoveSink(TSectionSink* sink) {
  sinks_.erase(std::remove(sinks_.begin(), sinks_.end(), sink), sinks_.end());
}

void TnrwReport::EndReport() {
  for (TSectionSink* sink : sinks_) {
    if (page_number_ > 0) {
      sink->EndPage(page_number_);
    }
    sink->Finish();
  }
  page_end_ = true;
}

bool IsReportEngine(uintptr_t address) {
  if (address == 0) {
    return false;
  }
  std::lock_guard lock(Registry().mutex);
  return Registry().live.count(address) != 0;
}

int32_t ReportAddressAsInt32(const TnrwReport* report) {
  return static_cast<int32_t>(reinterpret_cast<uintptr_t>(report));
}
