#include "hvkstat/RecipeText.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "HVKPlatform/Value.h"
#include "HVKStatistics/sensors/RecipeFile.h"

namespace hvk::hvkstat {

namespace {

/// How far a text was taken.
struct Progress {
    std::size_t line = 1;
    std::size_t before = 1;  ///< the line before the last character: a number ends where that is already the next thing
};

/// The characters of a text, which note how far they were taken.
class CountingCharacters {
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountingCharacters(const char* at, Progress* progress) : at_(at), progress_(progress) {}
    reference operator*() const { return *at_; }
    CountingCharacters& operator++() {
        if (progress_ != nullptr) {
            progress_->before = progress_->line;
            if (*at_ == '\n') ++progress_->line;
        }
        ++at_;
        return *this;
    }
    CountingCharacters operator++(int) {
        CountingCharacters before = *this;
        ++*this;
        return before;
    }
    bool operator==(const CountingCharacters& other) const { return at_ == other.at_; }

private:
    const char* at_;
    Progress* progress_;
};

/// Builds the nodes from what the reader finds, each at the moment when its last character was taken.
class Builder : public nlohmann::json_sax<Value> {
public:
    Builder(const Progress& progress, RecipeTextFault& fault) : progress_(progress), fault_(fault) {}

    RecipeNode take() { return std::move(root_); }

    bool null() override { return add(node(RecipeNode::Kind::Null)); }
    bool boolean(bool) override { return add(node(RecipeNode::Kind::Boolean)); }
    bool number_integer(number_integer_t value) override {
        return addNumber(RecipeNode::Kind::Integer, static_cast<double>(value));
    }
    bool number_unsigned(number_unsigned_t value) override {
        return addNumber(RecipeNode::Kind::Integer, static_cast<double>(value));
    }
    bool number_float(number_float_t value, const string_t&) override {
        return addNumber(RecipeNode::Kind::Number, value);
    }
    bool string(string_t& value) override {
        RecipeNode text = node(RecipeNode::Kind::Text);
        text.text = value;
        return add(std::move(text));
    }
    bool binary(binary_t&) override { return false; }
    bool start_object(std::size_t) override { return open(RecipeNode::Kind::Dictionary); }
    bool key(string_t& value) override {
        key_ = value;
        keyLine_ = progress_.line;
        return true;
    }
    bool end_object() override { return close(); }
    bool start_array(std::size_t) override { return open(RecipeNode::Kind::List); }
    bool end_array() override { return close(); }

    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& error) override {
        // "[json.exception.parse_error.101] parse error at line 1, column 5: what is wrong"
        const std::string_view what = error.what();
        const auto start = what.find(": ");
        fault_ = {progress_.line,
                  "this is no JSON: " + std::string(start == std::string_view::npos ? what : what.substr(start + 2))};
        return false;
    }

private:
    RecipeNode node(RecipeNode::Kind kind) const {
        RecipeNode made;
        made.kind = kind;
        made.line = progress_.line;
        return made;
    }

    bool addNumber(RecipeNode::Kind kind, double value) {
        RecipeNode number = node(kind);
        number.line = progress_.before;
        number.number = value;
        return add(std::move(number));
    }

    RecipeNode& current() { return *open_.back(); }

    /// Puts a value where it belongs.
    RecipeNode& place(RecipeNode value) {
        if (open_.empty()) return root_ = std::move(value);
        if (current().kind == RecipeNode::Kind::Dictionary) {
            value.key = std::move(key_);
            value.line = keyLine_;
        }
        return current().items.emplace_back(std::move(value));
    }

    bool add(RecipeNode value) {
        place(std::move(value));
        return true;
    }

    bool open(RecipeNode::Kind kind) {
        if (static_cast<int>(open_.size()) >= RecipeDepthLimit) {
            fault_ = {progress_.line, "it is nested too deeply"};
            return false;
        }
        // The nodes above do not move while this one is open: only the innermost one grows.
        open_.push_back(&place(node(kind)));
        return true;
    }

    bool close() {
        open_.pop_back();
        return true;
    }

    const Progress& progress_;
    RecipeTextFault& fault_;
    RecipeNode root_;
    std::vector<RecipeNode*> open_;
    std::string key_;
    std::size_t keyLine_ = 0;
};

}  // namespace

const RecipeNode* RecipeNode::find(std::string_view wanted) const {
    const auto found =
        std::find_if(items.rbegin(), items.rend(), [&](const RecipeNode& entry) { return entry.key == wanted; });
    return kind != Kind::Dictionary || found == items.rend() ? nullptr : &*found;
}

RecipeNode readRecipeText(std::string_view text, RecipeTextFault& fault) {
    Progress progress;
    Builder builder(progress, fault);
    const CountingCharacters begin(text.data(), &progress);
    const CountingCharacters end(text.data() + text.size(), nullptr);
    if (!Value::sax_parse(begin, end, &builder)) return {};
    return builder.take();
}

}  // namespace hvk::hvkstat
