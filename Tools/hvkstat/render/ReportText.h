// ReportText.h - draws a sample as text: for `report` and for the live view alike.
#pragma once

#include <string>

#include "hvkstat/render/Palette.h"
#include "hvkstat/render/ReportView.h"

namespace hvk::hvkstat {

/// The sample in sections, each line with a line end. `width`: columns at hand; cores are set side by side in them.
std::string drawReport(const ReportView& view, const Palette& palette, std::size_t width);

/// The class of a core in words: "performance", "efficiency", "first thread", "second thread", "unknown".
std::string_view coreTypeName(int type);

}  // namespace hvk::hvkstat
