#include "HVKPlatform/recorded/RecordingField.h"

#include <algorithm>
#include <array>
#include <utility>

namespace hvk {

namespace {

/// Recordings come from files; a hostile one must not use up the stack.
constexpr int DeepestProperty = 200;

std::string escaped(const std::string& key) {
    std::string text;
    for (const char each : key) {
        if (each == '~')
            text += "~0";
        else if (each == '/')
            text += "~1";
        else
            text += each;
    }
    return text;
}

std::optional<FailureKind> failureKind(const std::string& name) {
    for (const FailureKind kind : {FailureKind::Unsupported, FailureKind::Absent, FailureKind::Denied,
                                   FailureKind::Gone, FailureKind::Malformed, FailureKind::TimedOut})
        if (failureKindName(kind) == name) return kind;
    return std::nullopt;
}

std::optional<std::uint8_t> hexDigit(char digit) {
    if (digit >= '0' && digit <= '9') return static_cast<std::uint8_t>(digit - '0');
    if (digit >= 'a' && digit <= 'f') return static_cast<std::uint8_t>(digit - 'a' + 10);
    if (digit >= 'A' && digit <= 'F') return static_cast<std::uint8_t>(digit - 'A' + 10);
    return std::nullopt;
}

std::optional<std::vector<std::uint8_t>> bytesFromHex(const std::string& text) {
    if (text.size() % 2 != 0) return std::nullopt;
    std::vector<std::uint8_t> bytes;
    bytes.reserve(text.size() / 2);
    for (std::size_t index = 0; index < text.size(); index += 2) {
        const auto high = hexDigit(text[index]);
        const auto low = hexDigit(text[index + 1]);
        if (!high || !low) return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(*high << 4 | *low));
    }
    return bytes;
}

}  // namespace

std::string RecordingField::pointer() const {
    if (parent_ == nullptr) return key_;
    return parent_->pointer() + "/" + escaped(key_);
}

void RecordingField::wrong(const std::string& wanted) const {
    fault("should be " + wanted + ", is " + std::string(value_.type_name()));
}

void RecordingField::fault(const std::string& detail) const {
    throw RecordingFault{{FailureKind::Malformed, "recording", "\"" + pointer() + "\": " + detail}};
}

void RecordingField::allowOnly(const std::vector<std::string_view>& keys) const {
    eachEntry([&](const std::string& key, const RecordingField& field) {
        if (std::find(keys.begin(), keys.end(), key) == keys.end()) field.fault("no such field");
    });
}

std::optional<RecordingField> RecordingField::find(const std::string& key) const {
    if (!value_.is_object()) wrong("a dictionary");
    const auto found = value_.find(key);
    if (found == value_.end()) return std::nullopt;
    return RecordingField(*found, this, key);
}

RecordingField RecordingField::require(const std::string& key) const {
    auto field = find(key);
    if (!field) fault("has no \"" + key + "\"");
    return *field;
}

void RecordingField::eachEntry(const std::function<void(const std::string&, const RecordingField&)>& use) const {
    if (!value_.is_object()) wrong("a dictionary");
    for (const auto& [key, entry] : value_.items()) use(key, RecordingField(entry, this, key));
}

std::size_t RecordingField::size() const {
    if (!value_.is_array()) wrong("an array");
    return value_.size();
}

RecordingField RecordingField::at(std::size_t index) const {
    return RecordingField(value_[index], this, std::to_string(index));
}

double RecordingField::number() const {
    if (!value_.is_number()) wrong("a number");
    return value_.get<double>();
}

std::uint64_t RecordingField::unsignedInteger(std::uint64_t largest) const {
    const std::string wanted = "a whole number from 0 to " + std::to_string(largest);
    if (!value_.is_number_integer()) wrong(wanted);
    // A number that a program wrote down is signed, one that was parsed is not.
    if (!value_.is_number_unsigned() && value_.get<std::int64_t>() < 0) fault("should be " + wanted);
    const auto number = value_.get<std::uint64_t>();
    if (number > largest) fault("should be " + wanted);
    return number;
}

std::int64_t RecordingField::integer() const {
    if (!value_.is_number_integer()) wrong("a whole number");
    if (value_.is_number_unsigned() && value_.get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max())
        fault("is too large");
    return value_.get<std::int64_t>();
}

std::string RecordingField::text() const {
    if (!value_.is_string()) wrong("text");
    return value_.get<std::string>();
}

std::vector<std::uint8_t> RecordingField::hexadecimal() const {
    auto bytes = bytesFromHex(text());
    if (!bytes) fault("should be pairs of hexadecimal digits");
    return std::move(*bytes);
}

std::optional<Failure> RecordingField::failure(const std::string& defaultSource) const {
    if (!value_.is_object() || !value_.contains("error")) return std::nullopt;
    allowOnly({"error", "source", "detail"});
    const RecordingField error = require("error");
    const auto kind = failureKind(error.text());
    if (!kind) error.fault("should be unsupported, absent, denied, gone, malformed or timed out");
    Failure failure{*kind, defaultSource, {}};
    if (const auto source = find("source")) failure.source = source->text();
    if (const auto detail = find("detail")) failure.detail = detail->text();
    return failure;
}

std::optional<Failure> RecordingField::failureOrData(const std::string& defaultSource) const {
    if (!value_.is_object() || !value_.contains("error")) return std::nullopt;
    for (const auto& [key, entry] : value_.items())
        if (!entry.is_string() || (key != "error" && key != "source" && key != "detail")) return std::nullopt;
    if (!failureKind(value_["error"].get<std::string>())) return std::nullopt;
    return failure(defaultSource);
}

Value RecordingField::propertyValue() const { return propertyValue(0); }

Value RecordingField::propertyValue(int depth) const {
    if (depth > DeepestProperty) fault("is nested too deeply");
    if (value_.is_array()) {
        Value array = Value::array();
        for (std::size_t index = 0; index < value_.size(); ++index) array.push_back(at(index).propertyValue(depth + 1));
        return array;
    }
    if (!value_.is_object()) return value_;
    if (value_.size() == 1 && value_.contains("$data")) {
        return Value::binary(require("$data").hexadecimal());
    }
    Value dictionary = Value::object();
    eachEntry(
        [&](const std::string& key, const RecordingField& field) { dictionary[key] = field.propertyValue(depth + 1); });
    return dictionary;
}

}  // namespace hvk
