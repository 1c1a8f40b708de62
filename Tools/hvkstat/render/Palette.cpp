#include "hvkstat/render/Palette.h"

namespace hvk::hvkstat {

namespace {

constexpr double AttentionPercent = 60;
constexpr double AlarmPercent = 90;

std::string_view code(Style style) {
    switch (style) {
        case Style::Plain: return "";
        case Style::Heading: return "\x1b[1m";
        case Style::Faint: return "\x1b[2m";
        case Style::Good: return "\x1b[32m";
        case Style::Attention: return "\x1b[33m";
        case Style::Alarm: return "\x1b[31m";
    }
    return "";
}

}  // namespace

std::string Palette::paint(Style style, std::string_view text) const {
    if (!colours_ || text.empty() || style == Style::Plain) return std::string(text);
    std::string painted(code(style));
    painted += text;
    painted += "\x1b[0m";
    return painted;
}

Style styleForPercent(double percent) {
    if (percent >= AlarmPercent) return Style::Alarm;
    return percent >= AttentionPercent ? Style::Attention : Style::Plain;
}

}  // namespace hvk::hvkstat
