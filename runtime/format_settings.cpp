#include "host/format_settings.hpp"

namespace {
TFormatSettings& Current() {
  static TFormatSettings settings = TFormatSettings::Brazilian();
  return settings;
}
}  // namespace

const TFormatSettings& FormatSettings() {
  return Current();
}
void SetFormatSettings(const TFormatSettings& settings) {
  Current() = settings;
}
