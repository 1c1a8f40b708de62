// RecordingField.h - one place in a recording: its value, and where it is, for whoever has to mend it.
//
// It owns the reading of numbers, texts, failures and binary data, and the wording of complaints. What the fields of a
// recording mean is said by those who read them. Inside the adapter a complaint is an exception; none leaves it.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "HVKPlatform/Result.h"
#include "HVKPlatform/Value.h"

namespace hvk {

/// What is wrong with a recording; caught where a recording is taken in.
struct RecordingFault {
    Failure failure;  ///< Malformed, its detail begins with the JSON pointer of the place
};

/// A place in a recording. It refers to the value and to the place that it was reached from: it lives shorter than
/// both.
class RecordingField {
public:
    explicit RecordingField(const Value& value, std::string start = {}) : value_(value), key_(std::move(start)) {}

    const Value& value() const { return value_; }

    /// "/frames/3/memory", with "~" and "/" of a key escaped as JSON pointers do; "" is the whole.
    std::string pointer() const;

    /// Throws the complaint that this place should be something else: `wrong("a number")`.
    [[noreturn]] void wrong(const std::string& wanted) const;

    /// Throws the complaint `detail` about this place.
    [[noreturn]] void fault(const std::string& detail) const;

    // Dictionaries

    /// Complains unless this is a dictionary of these keys only; a misspelt key must not go unnoticed.
    void allowOnly(const std::vector<std::string_view>& keys) const;

    /// The value of a key, nothing when it is not there; complains when this is no dictionary.
    std::optional<RecordingField> find(const std::string& key) const;

    /// As `find`, and complains when the key is not there.
    RecordingField require(const std::string& key) const;

    void eachEntry(const std::function<void(const std::string& key, const RecordingField&)>& use) const;

    // Arrays

    std::size_t size() const;
    RecordingField at(std::size_t index) const;

    // Values

    double number() const;
    std::uint64_t unsignedInteger(std::uint64_t largest = std::numeric_limits<std::uint64_t>::max()) const;
    std::int64_t integer() const;
    std::string text() const;

    /// Bytes as pairs of hexadecimal digits, e.g. "2f80".
    std::vector<std::uint8_t> hexadecimal() const;

    /// The failure that this place answers: {"error": "denied", "source": "...", "detail": "..."}; nothing for any
    /// other value. Complains about an "error" of no known kind.
    std::optional<Failure> failure(const std::string& defaultSource) const;

    /// As `failure`, for places where any dictionary may stand: what is not exactly of that shape is none.
    std::optional<Failure> failureOrData(const std::string& defaultSource) const;

    /// The value with each {"$data": "<hex>"} in it turned into binary data.
    Value propertyValue() const;

private:
    RecordingField(const Value& value, const RecordingField* parent, std::string key)
        : value_(value), parent_(parent), key_(std::move(key)) {}

    Value propertyValue(int depth) const;

    const Value& value_;
    const RecordingField* parent_ = nullptr;
    std::string key_;
};

/// Reads the answer to one question: nothing when `section` does not name it, its failure, or what `read` makes of it.
template <class T, class Read>
void readAnswer(const RecordingField& section, const std::string& key, const std::string& source, Result<T>& answer,
                Read read) {
    const auto field = section.find(key);
    if (!field) return;
    if (auto failure = field->failure(source))
        answer = std::move(*failure);
    else
        answer = Result<T>(read(*field));
}

}  // namespace hvk
