#include "HVKStatistics/categories/NumericOrder.h"

#include <algorithm>

namespace hvk {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Takes the run of digits off the front of a text and answers it without leading zeros.
std::string_view takeNumber(std::string_view& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
    std::string_view number = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(number.size());
    number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
    return number;
}

}  // namespace

int numericCompare(std::string_view left, std::string_view right) {
    while (!left.empty() && !right.empty()) {
        if (isDigit(left.front()) && isDigit(right.front())) {
            const std::string_view leftNumber = takeNumber(left);
            const std::string_view rightNumber = takeNumber(right);
            if (leftNumber.size() != rightNumber.size()) return leftNumber.size() < rightNumber.size() ? -1 : 1;
            if (const int order = leftNumber.compare(rightNumber); order != 0) return order;
            continue;
        }
        const auto leftByte = static_cast<unsigned char>(left.front());
        const auto rightByte = static_cast<unsigned char>(right.front());
        if (leftByte != rightByte) return leftByte < rightByte ? -1 : 1;
        left.remove_prefix(1);
        right.remove_prefix(1);
    }
    return left.empty() ? (right.empty() ? 0 : -1) : 1;
}

bool comesBeforeByNumber(std::string_view left, std::string_view right) {
    const int order = numericCompare(left, right);
    return order != 0 ? order < 0 : left < right;
}

}  // namespace hvk
