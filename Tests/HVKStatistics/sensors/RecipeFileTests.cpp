// The form of recipe files: which bytes count, what a damaged file gives, and that other programs can read one.

#include "HVKStatistics/sensors/RecipeFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "HVKBase/Resources.h"
#include "HVKStatistics/categories/NumericOrder.h"
#include "HVKStatistics/sensors/HVKStatisticsPlatform.h"
#include "support/Hexadecimal.h"
#include "support/SavedTree.h"

namespace hvk {
namespace {

using testing::HasSubstr;

DataBuffer fileOf(const std::string& text) { return *encodeRecipe(text); }

Value read(const DataBuffer& file) { return HVKStatisticsPlatform::readPlatform(file); }

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST(RecipeFile, ADamagedFileGivesNothingOrTheSameWhereNothingIsLookedAt) {
    const Value recipe = Value::parse(R"({"version": 7, "sensors": {"supported": [{"key": "TC0P"}]}})");
    const DataBuffer file = fileOf(recipe.dump());
    ASSERT_EQ(read(file), recipe);
    const std::size_t cipherSize = file.size() - 55;
    const std::size_t half = cipherSize / 2;
    for (std::size_t index = 0; index < file.size(); ++index) {
        const bool meaningless = (index >= half && index < half + 8) || index >= file.size() - 47;
        for (const int flip : {0x01, 0x80, 0xFF}) {
            DataBuffer damaged = file;
            damaged[index] = static_cast<std::uint8_t>(damaged[index] ^ flip);
            if (meaningless)
                EXPECT_EQ(read(damaged), recipe) << "byte " << index;
            else
                EXPECT_NE(read(damaged), recipe) << "byte " << index;
        }
    }
    for (std::size_t size = 0; size < file.size(); ++size)
        EXPECT_TRUE(read({file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size)}).is_null()) << size;
    EXPECT_THAT(decodeRecipe(DataBuffer(54)).failure().detail, HasSubstr("54 bytes"));
}

TEST(RecipeFile, TheSmallestFileHasItsOneByteBehindTheFiller) {
    // One byte is no whole block: it is refused, and it is looked for at offset 8 and not at 0.
    for (const std::size_t size : {55u, 56u, 57u, 70u}) EXPECT_TRUE(read(DataBuffer(size, 0xAA)).is_null()) << size;
    const DataBuffer file = fileOf("{}");
    ASSERT_EQ(file.size(), 16u + 55u);
    EXPECT_EQ(read(file), Value::object());
}

TEST(RecipeFile, RefusesWhatIsNoDictionary) {
    for (const char* text :
         {"[1]", "7", "\"text\"", "", "{\"a\": }", "{\"a\": 1e999}", "{\"a\": 1} x", "{\"a\": \"\xFF\"}"})
        EXPECT_TRUE(read(fileOf(text)).is_null()) << text;
    std::string deep = "{\"a\": ";
    for (int level = 0; level < 100'000; ++level) deep += '[';
    EXPECT_THAT(decodeRecipe(fileOf(deep)).failure().detail, HasSubstr("too deeply"));
    // Brackets inside a text do not nest.
    const Value brackets{{"a", std::string(1000, '[') + "\\\""}};
    EXPECT_EQ(read(fileOf(brackets.dump())), brackets);
    EXPECT_FALSE(encodeRecipe(std::string(RecipeFileLimit, ' ')));
    EXPECT_FALSE(decodeRecipe(DataBuffer(RecipeFileLimit + 1)));
}

TEST(RecipeFile, AnotherProgramCanReadAndWriteOne) {
    const std::string text = R"({"version": 3, "name": "by hand"})";
    const DataBuffer file = fileOf(text);
    // Apart and together again as the form says, and deciphered by openssl.
    const std::size_t size = file.size() - 55;
    DataBuffer cipher(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(size / 2));
    cipher.insert(cipher.end(), file.begin() + static_cast<std::ptrdiff_t>(size / 2 + 8), file.end() - 47);
    test::SavedTree folder;
    folder.write("/cipher", std::string(cipher.rbegin(), cipher.rend()));
    std::string key = test::hexadecimal(DataBuffer{'K', 'e', 's', 't', 'r', 'e', 'l', 'O', 'r', 'c', 'h', 'i', 'd'});
    key.resize(32, '0');
    const std::string command = "openssl enc -d -aes-128-cbc -nosalt -K " + key + " -iv " + std::string(32, '0') +
                                " -in '" + folder.path("/cipher") + "' -out '" + folder.path("/plain") + "'";
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(contentOf(folder.path("/plain")), text);

    // The recipes of the build were enciphered by openssl: they are, byte for byte, what this library makes.
    int compared = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator(HVK_SOURCE_DIR "/Frameworks/HVKStatistics/resources/recipes")) {
        const DataBuffer made = fileOf(contentOf(entry.path()));
        const std::string built = contentOf(resourceDirectory() + "/" + entry.path().stem().string() + ".recipe");
        EXPECT_EQ(std::string(made.begin(), made.end()), built) << entry.path();
        ++compared;
    }
    EXPECT_GE(compared, 3);
}

TEST(NumericOrder, CountsAsAPersonDoes) {
    const char* ordered[] = {"",        "9",       "10",       "Mac2,1",     "Mac2,10",
                             "Mac10,1", "MacBook", "MacBook1", "Macmini8,1", "global"};
    for (std::size_t left = 0; left < std::size(ordered); ++left)
        for (std::size_t right = 0; right < std::size(ordered); ++right)
            EXPECT_EQ(comesBeforeByNumber(ordered[left], ordered[right]), left < right)
                << ordered[left] << " " << ordered[right];
    EXPECT_EQ(numericCompare("a007", "a7"), 0);
    EXPECT_TRUE(comesBeforeByNumber("a007", "a7")) << "still an order";
    EXPECT_LT(numericCompare("99999999999999999999998", "99999999999999999999999"), 0);
}

}  // namespace
}  // namespace hvk
