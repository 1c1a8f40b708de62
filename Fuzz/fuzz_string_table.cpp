// fuzz_string_table.cpp - the text of a string table: whatever it holds, what is taken in is UTF-8 and faults are few.

#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string_view>

#include "HVKLocalization/StringTable.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto table = hvk::StringTable::parse({reinterpret_cast<const char*>(data), size});
    if (table.faults().size() > 20) std::abort();
    for (const auto& [key, text] : table.entries()) {
        if (table.find(key) != text) std::abort();
        // Throws for what is not UTF-8, which ends the program.
        (void)nlohmann::json({key, text}).dump();
    }
    return 0;
}
