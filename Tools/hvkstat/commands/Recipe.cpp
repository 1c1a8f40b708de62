#include "hvkstat/commands/Recipe.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "HVKPlatform/support/PosixFiles.h"
#include "HVKStatistics/sensors/RecipeFile.h"
#include "HVKStatistics/sensors/RecipeMaker.h"
#include "hvkstat/RecipeCheck.h"
#include "hvkstat/Session.h"
#include "hvkstat/render/Units.h"

namespace hvk::hvkstat {

namespace {

std::string_view asText(const std::vector<std::uint8_t>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

int fail(const Host& host, const std::string& file, const Failure& failure) {
    host.say(fmt::format("{}: {} ({})", printable(file), printable(failure.detail), failureKindName(failure.kind)));
    return ExitFailed;
}

/// Whether a file looks like a plain text: no recipe file begins so but by chance.
bool looksPlain(std::string_view content) {
    const auto start = content.find_first_not_of(" \t\r\n\xEF\xBB\xBF");
    return start != std::string_view::npos && content[start] == '{';
}

/// The plain text of a file in either form.
Result<std::vector<std::uint8_t>> plainText(std::vector<std::uint8_t> content) {
    auto text = decipherRecipe(content);
    if (text || !looksPlain(asText(content))) return text;
    return content;
}

int decode(const Options& options, const Host& host, const std::vector<std::uint8_t>& content) {
    const auto text = decipherRecipe(content);
    if (!text) return fail(host, options.input, text.failure());
    if (const auto recipe = parseRecipe(*text); !recipe) return fail(host, options.input, recipe.failure());
    host.output.write(asText(*text));
    return ExitOk;
}

int encode(const Options& options, const Host& host, const std::vector<std::uint8_t>& content, FilesPort& files) {
    // A text that is no recipe would be found out only where nobody looks.
    if (const auto recipe = parseRecipe(content); !recipe) return fail(host, options.input, recipe.failure());
    const auto file = encodeRecipe(asText(content));
    if (!file) return fail(host, options.input, file.failure());
    if (const auto written = files.replace(options.outputFile, *file); !written)
        return fail(host, options.outputFile, written.failure());
    return ExitOk;
}

int check(const Options& options, const Host& host, std::vector<std::uint8_t> content) {
    const auto text = plainText(std::move(content));
    if (!text) return fail(host, options.input, text.failure());
    const RecipeReport report = checkRecipe(asText(*text));
    const std::string name = printable(options.input);
    for (const RecipeFault& fault : report.faults)
        host.output.write(fmt::format("{}:{}: {}: {}\n", name, fault.line,
                                      fault.key.empty() ? "recipe" : printable(fault.key), printable(fault.detail)));
    if (!report.faults.empty()) return ExitFailed;
    host.output.write(fmt::format("{}: no faults; version {}, {} entries\n", name, report.version, report.entries));
    return ExitOk;
}

int make(const Options& options, const Host& host, FilesPort& files) {
    const auto opened = Session::open(options);
    if (!opened) return fail(host, opened.failure().source, opened.failure());
    const auto recipe = RecipeMaker((*opened)->machine()).make();
    if (!recipe) return fail(host, recipe.failure().source, recipe.failure());
    const std::string text = recipe->dump(2, ' ', false, Value::error_handler_t::replace) + '\n';
    if (options.outputFile.empty()) {
        host.output.write(text);
        return ExitOk;
    }
    const auto file = encodeRecipe(text);
    if (!file) return fail(host, options.outputFile, file.failure());
    if (const auto written = files.replace(options.outputFile, *file); !written)
        return fail(host, options.outputFile, written.failure());
    return ExitOk;
}

}  // namespace

int runRecipe(const Options& options, const Host& host) {
    Diagnostics diagnostics;
    PosixFilesPort files(diagnostics);
    if (options.recipeAction == RecipeAction::Make) return make(options, host, files);
    auto content = files.read(options.input, RecipeFileLimit);
    if (!content) return fail(host, options.input, content.failure());
    switch (options.recipeAction) {
        case RecipeAction::Decode: return decode(options, host, *content);
        case RecipeAction::Encode: return encode(options, host, *content, files);
        case RecipeAction::Check:
        case RecipeAction::Make: break;
    }
    return check(options, host, std::move(*content));
}

}  // namespace hvk::hvkstat
