// Palette.h - how a piece of text is set off on a terminal. Views name a style, never a colour.
#pragma once

#include <string>
#include <string_view>

namespace hvk::hvkstat {

/// What a piece of text is, to the eye.
enum class Style {
    Plain,
    Heading,    ///< a section's name
    Faint,      ///< a label or a unit
    Good,       ///< works
    Attention,  ///< high
    Alarm,      ///< very high, or broken
};

/// Puts styles into terminal codes, or leaves text alone.
class Palette {
public:
    /// `colours` false: every text stays as it is.
    explicit Palette(bool colours) : colours_(colours) {}

    bool colours() const { return colours_; }

    /// `text` between the codes of `style`; as it is without colours, in the plain style or when empty.
    std::string paint(Style style, std::string_view text) const;

private:
    bool colours_;
};

/// The style of a percentage of something that runs out: plain, from 60 attention, from 90 alarm.
Style styleForPercent(double percent);

}  // namespace hvk::hvkstat
