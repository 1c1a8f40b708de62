#include "hvkstat/render/Table.h"

#include <algorithm>

#include "hvkstat/render/Units.h"

namespace hvk::hvkstat {

namespace {

constexpr std::size_t ColumnGap = 2;

}  // namespace

void Table::add(std::vector<Cell> row) {
    row.resize(columns_.size());
    rows_.push_back({std::move(row), std::nullopt});
}

void Table::addRemark(std::size_t column, Cell cell) { rows_.push_back({{std::move(cell)}, column}); }

std::vector<std::size_t> Table::widths() const {
    std::vector<std::size_t> widths(columns_.size());
    for (const Row& row : rows_) {
        if (row.remarkColumn) continue;
        for (std::size_t column = 0; column < row.cells.size(); ++column)
            widths[column] = std::max(widths[column], displayWidth(row.cells[column].text));
    }
    return widths;
}

std::string Table::text(const Palette& palette) const {
    const std::vector<std::size_t> columnWidths = widths();
    std::string text;
    for (const Row& row : rows_) {
        // Blanks are written only before the next text, so that none ends the line.
        std::size_t blanks = indent_;
        for (std::size_t column = 0; column < row.remarkColumn.value_or(0); ++column)
            blanks += columnWidths[column] + ColumnGap;
        for (std::size_t column = 0; column < row.cells.size(); ++column) {
            const Cell& cell = row.cells[column];
            const std::size_t width = row.remarkColumn ? 0 : columnWidths[column];
            const std::size_t padding = width - std::min(width, displayWidth(cell.text));
            if (columns_[column] == Align::Right) blanks += padding;
            if (!cell.text.empty()) {
                text.append(blanks, ' ');
                text += palette.paint(cell.style, cell.text);
                blanks = 0;
            }
            if (columns_[column] == Align::Left) blanks += padding;
            blanks += ColumnGap;
        }
        text += '\n';
    }
    return text;
}

}  // namespace hvk::hvkstat
