// Date-times as the company database stores them: ISO text, 'YYYY-MM-DD' for a date and
// 'YYYY-MM-DD HH:MM:SS' for a date with a time of day (fractions of a second are dropped).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/export.hpp"
#include "host/sysutils.hpp"

NRW_API std::string IsoDateTime(TDateTime value);
NRW_API std::optional<TDateTime> ParseIsoDateTime(std::string_view text);
