#include "HVKLocalization/LocalizedBundle.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <system_error>
#include <utility>

namespace hvk {

namespace {

/// The language that the keys were written for.
constexpr const char* FallbackLanguage = "en";

/// A table is a few kilobytes; what is longer is none.
constexpr std::size_t LongestFile = std::size_t{1} << 20;

/// The host's choice, behind its lock.
class HostLanguages {
public:
    /// Never destroyed: modules of static duration may ask while the process ends.
    static HostLanguages& shared() {
        static HostLanguages& languages = *new HostLanguages;
        return languages;
    }

    void set(std::vector<std::string> languages) {
        const std::lock_guard lock(mutex_);
        languages_ = std::move(languages);
    }

    std::vector<std::string> get() {
        const std::lock_guard lock(mutex_);
        return languages_;
    }

private:
    std::mutex mutex_;
    std::vector<std::string> languages_;
};

/// Whether a text may be a part of a file's name: it comes from the environment, or from the host.
bool isPlainName(std::string_view name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    });
}

/// "zh-Hant-TW" is itself, "zh-Hant" and "zh"; "de_AT" is "de-AT" and "de".
std::vector<std::string> fromSpecialToGeneral(std::string language) {
    std::vector<std::string> languages;
    if (!isPlainName(language)) return languages;
    std::replace(language.begin(), language.end(), '_', '-');
    while (!language.empty()) {
        languages.push_back(language);
        const std::size_t part = language.rfind('-');
        language.resize(part == std::string::npos ? 0 : part);
    }
    return languages;
}

/// The content of a regular file; nothing when there is none that can be read.
std::optional<std::string> contentOf(const std::string& file, std::string& fault) {
    namespace fs = std::filesystem;
    std::error_code error;
    const auto status = fs::status(file, error);
    if (!fs::exists(status)) return std::nullopt;
    if (!fs::is_regular_file(status)) {
        fault = "it is no regular file";
        return std::nullopt;
    }
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        fault = "it cannot be opened";
        return std::nullopt;
    }
    std::string content(LongestFile + 1, '\0');
    stream.read(content.data(), static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<std::size_t>(stream.gcount()));
    if (content.size() > LongestFile) {
        fault = "it is longer than a table can be";
        return std::nullopt;
    }
    return content;
}

}  // namespace

void setPreferredLanguages(std::vector<std::string> languages) { HostLanguages::shared().set(std::move(languages)); }

LocalizedBundle::LocalizedBundle(std::string directory, std::vector<std::string> preferredLanguages,
                                 FaultHandler faults)
    : directory_(std::move(directory)),
      preferredLanguages_(std::move(preferredLanguages)),
      faults_(std::move(faults)) {}

std::string LocalizedBundle::localizedString(std::string_view key, std::string_view table) const {
    if (directory_.empty() || !isPlainName(table)) return std::string(key);
    const std::vector<std::string> host = HostLanguages::shared().get();
    const std::lock_guard lock(mutex_);
    const auto preferred = preferredTable(host, table);
    for (const auto& candidate : {preferred, this->table(FallbackLanguage, table)})
        if (candidate)
            if (const auto text = candidate->find(key)) return std::string(*text);
    return std::string(key);
}

LocalizedBundle::Table LocalizedBundle::preferredTable(const std::vector<std::string>& host,
                                                       std::string_view name) const {
    for (const auto* languages : {&host, &preferredLanguages_})
        for (const std::string& language : *languages)
            for (const std::string& candidate : fromSpecialToGeneral(language))
                if (auto found = table(candidate, name)) return found;
    return nullptr;
}

LocalizedBundle::Table LocalizedBundle::table(const std::string& language, std::string_view name) const {
    const std::string file = language + ".lproj/" + std::string(name) + ".strings";
    const auto [place, isNew] = tables_.try_emplace(file);
    if (isNew) place->second = read(file);
    return place->second;
}

LocalizedBundle::Table LocalizedBundle::read(const std::string& file) const {
    const auto report = [&](const std::string& fault) {
        if (faults_) faults_(file + fault);
    };
    std::string fault;
    const auto content = contentOf(directory_ + '/' + file, fault);
    if (!content) {
        if (!fault.empty()) report(": " + fault);
        return nullptr;
    }
    auto table = std::make_shared<const StringTable>(StringTable::parse(*content));
    for (const StringTableFault& found : table->faults())
        report(':' + std::to_string(found.line) + ": " + found.reason);
    return table;
}

}  // namespace hvk
