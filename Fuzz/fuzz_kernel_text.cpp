// fuzz_kernel_text.cpp - the texts of a Linux kernel's files, and the records of its task iterator. The first byte
// picks the reader.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "HVKPlatform/linux/parse/AuxiliaryVector.h"
#include "HVKPlatform/linux/parse/BlockStat.h"
#include "HVKPlatform/linux/parse/ControlGroup.h"
#include "HVKPlatform/linux/parse/DesktopEntry.h"
#include "HVKPlatform/linux/parse/LoadAvg.h"
#include "HVKPlatform/linux/parse/MemInfo.h"
#include "HVKPlatform/linux/parse/ProcessStat.h"
#include "HVKPlatform/linux/parse/ProcessorList.h"
#include "HVKPlatform/linux/parse/Stat.h"
#include "HVKPlatform/linux/parse/SysfsText.h"
#include "HVKPlatform/linux/parse/TaskRecords.h"

namespace {

void takeRecords(std::string_view bytes) {
    std::vector<hvk::parse::TaskRecord> buffer(bytes.size() / sizeof(hvk::parse::TaskRecord) + 1);
    if (!bytes.empty()) std::memcpy(buffer.data(), bytes.data(), bytes.size());
    const auto records = hvk::parse::takeTaskRecords(buffer, bytes.size());
    if (!records) return;
    std::int32_t last = 0;
    for (const hvk::parse::TaskRecord& record : *records) {
        if (record.pid <= last) std::abort();
        last = record.pid;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace hvk::parse;
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
    switch (data[0] % 10) {
        case 0: {
            ProcessorLines lines;
            const auto status = parseProcessorLines(text, lines);
            if (status && lines.lines.empty()) std::abort();
            break;
        }
        case 1: (void)parseBootTime(text); break;
        case 2: (void)parseMemInfo(text); break;
        case 3: (void)parsePagingCounts(text); break;
        case 4: (void)parseZramMemoryUsed(text); break;
        case 5: {
            const auto averages = parseLoadAverages(text);
            if (averages && averages->scale != 100) std::abort();
            break;
        }
        case 8: {
            const std::vector<std::string> locales = desktopLocales("sr_RS.UTF-8@latin:de");
            const auto entry = parseDesktopEntry(text, locales);
            if (entry && entry->isApplication() && !entry->hidden && entry->name.empty()) std::abort();
            if (entry && entry->name.find_first_of("\n\r\t\x7f") != std::string::npos) std::abort();
            const auto words = parseExec(text);
            if (words && words->front().empty()) std::abort();
            (void)desktopLocales(text);
            break;
        }
        case 9: {
            const auto group = parseControlGroup(text);
            if (group && (group->path.empty() || group->leader < 0)) std::abort();
            if (group && group->isApplication() && group->application.empty()) std::abort();
            break;
        }
        case 7: {
            const auto stat = parseProcessStat(text);
            if (stat && (stat->pid <= 0 || shortCommand(*stat).size() > 15)) std::abort();
            (void)parseAnonymousPages(text);
            (void)parseProcessIO(text);
            (void)parseContextSwitches(text);
            (void)parseProcessUser(text);
            break;
        }
        default: {
            const auto list = parseProcessorList(text);
            if (list && list->size() > 0x10000) std::abort();
            const auto vector = parseAuxiliaryVector(text);
            if (vector.pageSize && *vector.pageSize == 0) std::abort();
            (void)parseBlockStatistics(text, "stat");
            (void)hardwareAddress(text);
            (void)hexadecimal(text);
            // What is readable needs no further replacement, and no component of a path holds a separator.
            const std::string readable = readableText(text);
            if (readableText(readable) != readable) std::abort();
            if (escapedName(text).find_first_of("/@") != std::string::npos) std::abort();
            if (pathBefore(text, readable) && pathBefore(readable, text)) std::abort();
            takeRecords(text);
        }
    }
    return 0;
}
