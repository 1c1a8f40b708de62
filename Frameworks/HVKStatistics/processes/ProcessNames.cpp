#include "HVKStatistics/processes/ProcessNames.h"

#include <algorithm>
#include <array>
#include <vector>

namespace hvk {

namespace {

constexpr std::string_view ProgramFolder = "/Contents/MacOS";
constexpr std::string_view BundleOption = "--bundlepath";
constexpr std::size_t MostArguments = 99;
constexpr std::uint32_t FirstPersonsUser = 501;
constexpr std::string_view Replacement = "\xEF\xBF\xBD";

/// The path without its last component: "/usr/bin/cat" gives "/usr/bin", "/usr" gives "/".
std::string_view withoutLastComponent(std::string_view path) {
    const auto trimmed = [](std::string_view text) {
        while (text.size() > 1 && text.back() == '/') text.remove_suffix(1);
        return text;
    };
    path = trimmed(path);
    const std::size_t slash = path.rfind('/');
    if (slash == std::string_view::npos) return {};
    return slash == 0 ? path.substr(0, 1) : trimmed(path.substr(0, slash));
}

/// The bundle that a path leads into.
std::string_view bundlePath(std::string_view path) {
    if (path.find(ProgramFolder) == std::string_view::npos) return path;
    path = withoutLastComponent(path);
    if (path.ends_with(ProgramFolder)) path = withoutLastComponent(withoutLastComponent(path));
    return path;
}

/// How many bytes the UTF-8 character at the front of `bytes` has; 0 when there is none (overlong forms, surrogates and
/// what is beyond the last code point are none).
std::size_t characterLength(std::string_view bytes) {
    const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(bytes[index]); };
    const unsigned char first = byte(0);
    if (first < 0x80) return 1;
    const std::size_t length = first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
    if (length == 0 || bytes.size() < length) return 0;
    const unsigned char least = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const unsigned char most = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    if (byte(1) < least || byte(1) > most) return 0;
    for (std::size_t index = 2; index < length; ++index)
        if ((byte(index) & 0xC0) != 0x80) return 0;
    return length;
}

char lower(char letter) { return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter; }

/// Whether the text in lower case begins with `beginning`.
bool beginsInLowerCase(std::string_view text, std::string_view beginning) {
    return text.size() >= beginning.size() &&
           std::equal(beginning.begin(), beginning.end(), text.begin(), [](char a, char b) { return a == lower(b); });
}

struct TypeOfName {
    std::string_view beginning;
    int type;
};

constexpr std::array<TypeOfName, 5> TypesOfNames = {{
    {"kernel_task", StatisticsProcessTypeKernel},
    {"launchd", StatisticsProcessTypeLaunchd},
    {"spotlight", StatisticsProcessTypeSpotlight | StatisticsProcessTypeApplication},
    {"notification c", StatisticsProcessTypeNotificationCenter | StatisticsProcessTypeApplication},
    {"safari", StatisticsProcessTypeSafari | StatisticsProcessTypeApplication},
}};

}  // namespace

std::optional<std::string> pathForProcess(ProcessTablePort& table, std::int32_t pid) {
    auto path = table.executable(pid);
    if (!path) return std::nullopt;
    return std::move(*path);
}

std::optional<std::string> pathForWebApp(ProcessTablePort& table, std::int32_t pid) {
    // The executable comes before the arguments proper.
    auto all = table.arguments(pid);
    if (!all || all->size() < 2 || all->size() - 1 > MostArguments) return std::nullopt;
    const auto option = std::find(all->begin() + 1, all->end(), BundleOption);
    if (option == all->end() || option + 1 == all->end()) return std::nullopt;
    return std::move(*(option + 1));
}

void updateProcessNameWithPath(ProcessTablePort& table, const ProcessInformation& information, std::string_view path,
                               StatisticsProcessItem& item) {
    item.name = nameForProcess(information);
    if (path.empty()) return;
    item.path = bundlePath(path);
    if (const auto shown = table.displayName(item.pid, item.path)) item.name = stringifyProcessName(*shown);
}

std::string nameForProcess(const ProcessInformation& information) {
    const std::string name = stringifyProcessName(information.name);
    return name.empty() ? stringifyProcessName(information.command) : name;
}

std::string stringifyProcessName(std::string_view bytes) {
    bytes = bytes.substr(0, bytes.find('\0'));
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const std::size_t length = characterLength(bytes);
        text += length == 0 ? Replacement : bytes.substr(0, length);
        bytes.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return text;
}

int typeForProcess(ProcessTablePort& table, const StatisticsProcessItem& item) {
    for (const TypeOfName& one : TypesOfNames)
        if (beginsInLowerCase(item.name, one.beginning)) return one.type;
    if (item.user >= FirstPersonsUser) {
        const auto application = table.applicationType(item.pid);
        if (application && *application == "Foreground") return StatisticsProcessTypeApplication;
    }
    return StatisticsProcessTypeBackground;
}

}  // namespace hvk
