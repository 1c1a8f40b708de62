// Units.h - numbers, times and foreign texts as a person reads them; the one place that rounds.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace hvk::hvkstat {

/// Bytes in binary units with one decimal: 1536 -> "1.5 KiB", 0 -> "0 B". Negative sizes keep their sign; a number that
/// is not finite is "-".
std::string bytesText(double bytes);

/// Percent with one decimal and no unit: 12.5 -> "12.5"; a number that is not finite is "-".
std::string percentText(double percent);

/// `part` of `whole` in percent; 0 when there is no whole.
double percentOf(double part, double whole);

/// A span of seconds: 93784 -> "1 day 02:03:04", 59.9 -> "00:00:59". Negative spans are "-".
std::string durationText(double seconds);

/// Seconds since 1970 in this computer's time zone: "2023-11-14 22:13:20"; what no calendar holds is "-".
std::string timeText(double secondsSince1970);

/// Processor time with a unit that fits: 0.000123 -> "123 us", 0.0123 -> "12.3 ms", 2.5 -> "2.50 s".
std::string processorTimeText(double seconds);

/// A reading of a sensor in the unit of its kind (a StatisticsSensorType): 1 -> "45.2 °C", 3 -> "1200 rpm", 8 -> "3400
/// MHz"; a kind without a unit is a plain number.
std::string sensorText(std::int64_t type, double value);

/// The unit alone: "°C"; empty for a kind without one.
std::string_view sensorUnit(std::int64_t type);

/// Text from outside on one line: control characters, which could drive a terminal, become '?'.
std::string printable(std::string_view text);

/// Columns that a text takes up on a terminal: its UTF-8 characters.
std::size_t displayWidth(std::string_view text);

}  // namespace hvk::hvkstat
