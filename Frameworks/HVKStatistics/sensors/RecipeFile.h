// RecipeFile.h - the form of a recipe file: a JSON dictionary, enciphered and taken apart.
//
// A file of L bytes holds N = L - 55 bytes of cipher text: the first half, eight bytes of filler, the second half, and
// a tail of 47 bytes. Joined and reversed, they are AES with PKCS #7 padding under a fixed key: it keeps a recipe from
// being edited by accident, not from being read. Filler and tail mean nothing and are never looked at.
//
// What a recipe says belongs to the loader, what may be in one to RecipeCheck. Thread: any.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "HVKBase/Export.h"
#include "HVKPlatform/Result.h"
#include "HVKPlatform/Value.h"
#include "HVKStatistics/categories/DataOrText.h"

namespace hvk {

/// No recipe is larger; a file or an answer that is counts as broken. Bytes.
inline constexpr std::size_t RecipeFileLimit = 8 * 1024 * 1024;

/// JSON nested deeper than this is refused, as the JSON readers of the systems do.
inline constexpr int RecipeDepthLimit = 512;

/// The plain text of a recipe file. Malformed, with what is wrong, for a file that is too short or whose cipher text
/// does not end as it should.
HVK_EXPORT Result<DataBuffer> decipherRecipe(std::span<const std::uint8_t> file);

/// The dictionary that a plain text spells. Malformed for what is no JSON, no dictionary or nested too deeply.
HVK_EXPORT Result<Value> parseRecipe(std::span<const std::uint8_t> text);

/// The dictionary of a recipe file: the two steps above.
HVK_EXPORT Result<Value> decodeRecipe(std::span<const std::uint8_t> file);

/// The file of a plain text, taken as it is: nobody checks that it is JSON. Filler and tail are zeros, so that one text
/// gives one file, on every machine and at every build. 55 bytes longer than the text with its padding. Malformed when
/// the file would be over the limit.
HVK_EXPORT Result<DataBuffer> encodeRecipe(std::string_view text);

}  // namespace hvk
