// Table.h - rows of text set in columns that line up. It measures and pads; it never shortens.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "hvkstat/render/Palette.h"

namespace hvk::hvkstat {

/// One piece of a row.
struct Cell {
    std::string text;
    Style style = Style::Plain;
};

/// To which side of its column a cell keeps.
enum class Align { Left, Right };

/// A table under construction. Columns are two spaces apart; a line has no blanks at its end.
class Table {
public:
    /// `indent`: blanks before every row.
    explicit Table(std::vector<Align> columns, std::size_t indent = 2)
        : columns_(std::move(columns)), indent_(indent) {}

    /// Adds a row; cells beyond the columns are dropped, missing ones are empty.
    void add(std::vector<Cell> row);

    /// Adds a line that begins below the given column and takes no part in the widths.
    void addRemark(std::size_t column, Cell cell);

    /// Every row on a line of its own, each with a line end.
    std::string text(const Palette& palette) const;

private:
    struct Row {
        std::vector<Cell> cells;
        std::optional<std::size_t> remarkColumn;
    };

    std::vector<std::size_t> widths() const;

    std::vector<Align> columns_;
    std::size_t indent_;
    std::vector<Row> rows_;
};

}  // namespace hvk::hvkstat
