#include "HVKStatistics/sensors/RecipeFile.h"

#include <algorithm>
#include <string>

#include "HVKStatistics/categories/CommonCryptor.h"

namespace hvk {

namespace {

constexpr std::size_t FillerSize = 8;
constexpr std::size_t TailSize = 47;
constexpr std::size_t Overhead = FillerSize + TailSize;
constexpr const char* Key = "KestrelOrchid";
constexpr const char* Source = "recipe";

Failure malformed(std::string detail) { return {FailureKind::Malformed, Source, std::move(detail)}; }

/// The size of the part before the filler. Single precision is part of the form: it rounds the sizes of large files.
std::size_t firstPartSize(std::size_t cipherSize) {
    return static_cast<std::size_t>(static_cast<float>(cipherSize) * 0.5f);
}

/// Whether brackets outside texts nest more deeply than allowed; a value that does could not even be copied.
bool isTooDeep(std::span<const std::uint8_t> text) {
    int depth = 0;
    bool inText = false;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const char c = static_cast<char>(text[index]);
        if (inText) {
            if (c == '\\')
                ++index;
            else if (c == '"')
                inText = false;
        } else if (c == '"') {
            inText = true;
        } else if (c == '[' || c == '{') {
            if (++depth > RecipeDepthLimit) return true;
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return false;
}

}  // namespace

Result<DataBuffer> decipherRecipe(std::span<const std::uint8_t> file) {
    if (file.size() > RecipeFileLimit) return malformed("the file is larger than a recipe can be");
    if (file.size() < Overhead)
        return malformed("the file has " + std::to_string(file.size()) + " bytes; a recipe has more than 55");
    const std::size_t cipherSize = file.size() - Overhead;
    const std::size_t first = firstPartSize(cipherSize);
    DataBuffer cipherText(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(first));
    const auto second = file.subspan(first + FillerSize, cipherSize - first);
    cipherText.insert(cipherText.end(), second.begin(), second.end());
    std::reverse(cipherText.begin(), cipherText.end());

    CommonCryptoError error;
    auto text = decryptedAES256DataUsingKey(cipherText, Key, &error);
    if (text) return std::move(*text);
    return malformed("the file does not decipher: it is no recipe, or it is cut short or damaged");
}

Result<Value> parseRecipe(std::span<const std::uint8_t> text) {
    if (isTooDeep(text)) return malformed("the recipe is nested too deeply");
    Value recipe;
    try {
        recipe = Value::parse(text.begin(), text.end());
    } catch (const Value::parse_error& fault) {
        return malformed("the recipe is no JSON text, see byte " + std::to_string(fault.byte));
    } catch (const Value::exception& fault) {
        return malformed(std::string("the recipe is no JSON text: ") + fault.what());
    }
    if (!recipe.is_object()) return malformed("the recipe is no dictionary");
    return recipe;
}

Result<Value> decodeRecipe(std::span<const std::uint8_t> file) {
    const auto text = decipherRecipe(file);
    if (!text) return text.failure();
    return parseRecipe(*text);
}

Result<DataBuffer> encodeRecipe(std::string_view text) {
    if (text.size() > RecipeFileLimit - Overhead - 16) return malformed("the text is larger than a recipe can be");
    const DataOrText plain(text);
    CommonCryptoError error;
    auto cipherText = AES256EncryptedDataUsingKey(plain.bytes, Key, &error);
    if (!cipherText) return malformed(error.localizedDescription());
    std::reverse(cipherText->begin(), cipherText->end());
    const auto first = static_cast<std::ptrdiff_t>(firstPartSize(cipherText->size()));
    cipherText->insert(cipherText->begin() + first, FillerSize, 0);
    cipherText->resize(cipherText->size() + TailSize, 0);
    return std::move(*cipherText);
}

}  // namespace hvk
