// fuzz_recipe_file.cpp - any bytes as a recipe file: they give a dictionary or a reason, and what was taken apart can
// be put together again. Loading what a recipe says is fuzz_recipe's.

#include <cstdint>
#include <cstdlib>
#include <span>
#include <string_view>

#include "HVKStatistics/sensors/RecipeFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace hvk;
    const std::span bytes(data, size);
    if (const auto recipe = decodeRecipe(bytes); recipe && !recipe->is_object()) std::abort();
    if (const auto text = decipherRecipe(bytes)) {
        const auto again = encodeRecipe({reinterpret_cast<const char*>(text->data()), text->size()});
        const auto back = again ? decipherRecipe(*again) : again;
        if (!back || *back != *text) std::abort();
    }
    // The same bytes as a plain text, so that whole ciphers are tried too.
    const auto file = encodeRecipe({reinterpret_cast<const char*>(data), size});
    if (!file || file->size() < size + 55) std::abort();
    const auto text = decipherRecipe(*file);
    if (!text || !std::equal(text->begin(), text->end(), data, data + size)) std::abort();
    return 0;
}
