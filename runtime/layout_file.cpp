// The layout file: JSON read with nlohmann-json and checked member by member, so that a mistake
// in a hand-edited layout is reported with the file and the place, never met as a crash.
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "host/exception.hpp"
#include "host/report_layout.hpp"

namespace {

using nlohmann::json;

class LayoutReader {
 public:
  explicit LayoutReader(std::string source) : source_(std::move(source)) {}

  TReportLayout Read(const std::string& text) {
    json root;
    try {
      root = json::parse(text);
    } catch (const json::exception& e) {  // a syntax error, or a number out of range
      Fail(std::string("not valid JSON: ") + e.what());
    }
    if (!root.is_object()) {
      Fail("the layout must be a JSON object");
    }
    TReportLayout layout;
    layout.title = String(root, "title", "", "layout");
    ReadPage(root, layout);
    if (root.contains("font")) {
      const json& font = Object(root, "font", "layout");
      layout.font_family = String(font, "family", layout.font_family, "font");
      layout.font_size = Number(font, "size", layout.font_size, "font");
    }
    layout.accent_color = String(root, "accent_color", layout.accent_color, "layout");
    layout.stripe_color = String(root, "stripe_color", layout.stripe_color, "layout");
    if (root.contains("blocks")) {
      const json& blocks = Object(root, "blocks", "layout");
      layout.blocks.title_section =
          static_cast<int32_t>(Number(blocks, "title_section", 0, "blocks"));
      layout.blocks.title_field = String(blocks, "title_field", "", "blocks");
      layout.blocks.opening_section =
          static_cast<int32_t>(Number(blocks, "opening_section", 0, "blocks"));
    }
    if (!root.contains("sections") || !root["sections"].is_array()) {
      Fail("\"sections\" must be an array");
    }
    std::set<int32_t> seen;
    for (size_t i = 0; i < root["sections"].size(); ++i) {
      TLayoutSection section = ReadSection(root["sections"][i], i);
      if (!seen.insert(section.number).second) {
        Fail("section " + std::to_string(section.number) + " is given twice");
      }
      layout.AddSection(std::move(section));
    }
    return layout;
  }

 private:
  [[noreturn]] void Fail(const std::string& problem) const {
    throw Exception("layout " + source_ + ": " + problem);
  }
  const json& Object(const json& parent, const char* key, const std::string& where) const {
    if (!parent.contains(key) || !parent[key].is_object()) {
      Fail(where + ": \"" + key + "\" must be an object");
    }
    return parent[key];
  }
  double Number(const json& parent, const char* key, double fallback,
                const std::string& where) const {
    if (!parent.contains(key)) {
      return fallback;
    }
    if (!parent[key].is_number()) {
      Fail(where + ": \"" + key + "\" must be a number");
    }
    return parent[key].get<double>();
  }
  std::string String(const json& parent, const char* key, const std::string& fallback,
                     const std::string& where) const {
    if (!parent.contains(key)) {
      return fallback;
    }
    if (!parent[key].is_string()) {
      Fail(where + ": \"" + key + "\" must be a text");
    }
    return parent[key].get<std::string>();
  }

  void ReadPage(const json& root, TReportLayout& layout) const {
    if (!root.contains("page")) {
      return;
    }
    const json& page = Object(root, "page", "layout");
    const std::string size = String(page, "size", "A4", "page");
    const std::string orientation = String(page, "orientation", "landscape", "page");
    if (size != "A4") {
      Fail("page: only size \"A4\" is known, not \"" + size + "\"");
    }
    if (orientation != "landscape" && orientation != "portrait") {
      Fail("page: orientation must be \"landscape\" or \"portrait\"");
    }
    layout.page.width = orientation == "landscape" ? 297 : 210;
    layout.page.height = orientation == "landscape" ? 210 : 297;
    layout.page.header_height = Number(page, "header_height_mm", layout.page.header_height, "page");
    if (page.contains("margins_mm")) {
      const json& m = Object(page, "margins_mm", "page");
      layout.page.margin_top = Number(m, "top", layout.page.margin_top, "margins_mm");
      layout.page.margin_bottom = Number(m, "bottom", layout.page.margin_bottom, "margins_mm");
      layout.page.margin_left = Number(m, "left", layout.page.margin_left, "margins_mm");
      layout.page.margin_right = Number(m, "right", layout.page.margin_right, "margins_mm");
    }
  }

  TLayoutItem ReadItem(const json& item, const char* name_key, const std::string& where) const {
    if (!item.is_object()) {
      Fail(where + ": each entry must be an object");
    }
    TLayoutItem result;
    if (!item.contains(name_key) || !item[name_key].is_string() ||
        item[name_key].get<std::string>().empty()) {
      Fail(where + ": an entry without \"" + name_key + "\"");
    }
    result.name = item[name_key].get<std::string>();
    result.x = Number(item, "x", 0, where);
    result.y = Number(item, "y", 0, where);
    result.width = Number(item, "width", 0, where);
    result.bold = item.contains("bold") && item["bold"].is_boolean() && item["bold"].get<bool>();
    const std::string align = String(item, "align", "left", where);
    if (align != "left" && align != "center" && align != "right") {
      Fail(where + ": align must be left, center or right, not \"" + align + "\"");
    }
    result.align = align == "right"    ? TLayoutAlign::Right
                   : align == "center" ? TLayoutAlign::Center
                                       : TLayoutAlign::Left;
    return result;
  }

  TLayoutSection ReadSection(const json& s, size_t index) const {
    const std::string where = "section #" + std::to_string(index + 1);
    if (!s.is_object() || !s.contains("number") || !s["number"].is_number_integer()) {
      Fail(where + ": \"number\" must be a whole number");
    }
    TLayoutSection section;
    section.number = s["number"].get<int32_t>();
    const std::string named = "section " + std::to_string(section.number);
    section.height = Number(s, "height", 0, named);
    for (const char* list : {"fields", "texts", "rules"}) {
      if (s.contains(list) && !s[list].is_array()) {
        Fail(named + ": \"" + std::string(list) + "\" must be an array");
      }
    }
    std::set<std::string> names;
    for (const json& f : s.value("fields", json::array())) {
      TLayoutItem item = ReadItem(f, "name", named + " fields");
      if (!names.insert(item.name).second) {
        Fail(named + ": field \"" + item.name + "\" is given twice");
      }
      section.fields.push_back(item.name);
      section.field_items.push_back(item);
    }
    for (const json& t : s.value("texts", json::array())) {
      section.texts.push_back(ReadItem(t, "text", named + " texts"));
    }
    for (const json& r : s.value("rules", json::array())) {
      if (!r.is_object()) {
        Fail(named + " rules: each entry must be an object");
      }
      section.rules.push_back(
          {Number(r, "x1", 0, named), Number(r, "x2", 0, named), Number(r, "y", 0, named)});
    }
    return section;
  }

  std::string source_;
};

}  // namespace

TReportLayout ParseLayout(const std::string& json_text, const std::string& source) {
  return LayoutReader(source).Read(json_text);
}

TReportLayout LoadLayoutFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw Exception("layout " + path + ": cannot be read");
  }
  std::ostringstream text;
  text << in.rdbuf();
  return ParseLayout(text.str(), path);
}
