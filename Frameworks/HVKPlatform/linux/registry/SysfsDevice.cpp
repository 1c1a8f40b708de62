#include "HVKPlatform/linux/registry/SysfsDevice.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "HVKPlatform/linux/parse/Scan.h"
#include "HVKPlatform/linux/parse/SysfsText.h"

namespace hvk {

namespace {

constexpr std::string_view Devices = "/sys/devices";

}  // namespace

Value registryData(std::uint32_t number) {
    Value::binary_t bytes;
    for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(number >> shift));
    return bytes;
}

Value registryData(std::string_view bytes) {
    return Value::binary_t(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
}

SysfsDevice::SysfsDevice(const SysfsTree& tree, std::string path, std::string subsystem)
    : tree_(&tree), path_(std::move(path)), subsystem_(std::move(subsystem)) {}

std::string_view SysfsDevice::kernelName() const { return std::string_view(path_).substr(path_.rfind('/') + 1); }

std::string SysfsDevice::nodeName() const {
    std::string name = parse::readableText(kernelName());
    std::replace(name.begin(), name.end(), '!', '/');
    return name;
}

std::string SysfsDevice::file(std::string_view name) const {
    std::string path = path_;
    path.append("/").append(name);
    return path;
}

bool SysfsDevice::has(std::string_view name) const { return tree_->exists(file(name)); }

std::vector<std::string> SysfsDevice::directories(std::string_view name) const {
    return tree_->directories(file(name));
}

Result<std::string> SysfsDevice::read(std::string_view attribute) const { return tree_->read(file(attribute)); }

/// The attribute without blanks around it; Absent when nothing is left.
Result<std::string> SysfsDevice::word(std::string_view attribute) const {
    auto content = read(attribute);
    if (!content) return content;
    const std::string_view text = parse::trimmed(*content);
    if (text.empty()) return Failure{FailureKind::Absent, file(attribute), "it is empty"};
    return std::string(text);
}

Result<Value> SysfsDevice::text(std::string_view attribute) const {
    const auto content = word(attribute);
    if (!content) return content.failure();
    return Value(parse::readableText(*content));
}

Result<Value> SysfsDevice::number(std::string_view attribute) const {
    const auto content = word(attribute);
    if (!content) return content.failure();
    if (const auto number = parse::toUnsigned(*content)) return Value(*number);
    std::int64_t negative = 0;
    const char* const end = content->data() + content->size();
    const auto [stop, error] = std::from_chars(content->data(), end, negative);
    if (error == std::errc() && stop == end) return Value(negative);
    return Failure{FailureKind::Malformed, file(attribute), "it is no number"};
}

Result<Value> SysfsDevice::hexadecimal(std::string_view attribute) const {
    const auto content = word(attribute);
    if (!content) return content.failure();
    if (const auto number = parse::hexadecimal(*content)) return Value(*number);
    return Failure{FailureKind::Malformed, file(attribute), "it is no hexadecimal number"};
}

Result<Value> SysfsDevice::data(std::string_view attribute) const {
    const auto content = word(attribute);
    if (!content) return content.failure();
    if (content->substr(0, 2) == "0x")
        if (const auto number = parse::hexadecimal(*content)) return registryData(*number);
    return Failure{FailureKind::Absent, file(attribute), "it is no identifier"};
}

Result<Value> SysfsDevice::flag(std::string_view attribute) const {
    const auto value = number(attribute);
    if (!value) return value.failure();
    return Value(*value != 0);
}

Result<Value> SysfsDevice::link(std::string_view name) const {
    const auto target = tree_->linkName(file(name));
    if (!target) return Failure{FailureKind::Absent, file(name), "there is no such link"};
    return Value(parse::readableText(*target));
}

bool SysfsDevice::sleeps() const {
    for (std::string path = path_; path.size() > Devices.size(); path.resize(path.rfind('/'))) {
        const std::string status = path + "/power/runtime_status";
        if (!tree_->exists(status)) continue;
        const auto content = tree_->read(status);
        if (!content) continue;
        const std::string_view text = parse::trimmed(*content);
        if (text == "unsupported") continue;
        return text == "suspended" || text == "suspending";
    }
    return false;
}

}  // namespace hvk
