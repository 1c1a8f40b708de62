#include "HVKStatistics/sensors/HVKStatisticsPlatform.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

#include "HVKBase/Resources.h"
#include "HVKLogger/DDLog.h"
#include "HVKStatistics/categories/NumericOrder.h"
#include "HVKStatistics/core/HVKStatisticsIOKitUtilities.h"
#include "HVKStatistics/core/HVKStatisticsOSVersion.h"
#include "HVKStatistics/sensors/RecipeFile.h"
#include "HVKStatistics/sensors/RecipeValue.h"

namespace hvk {

namespace {

constexpr double TimeoutSeconds = 120;
constexpr std::size_t LongestModel = 127;
constexpr const char* Folder = "/Corvane 7/Platform";
constexpr const char* Extension = ".recipe";
constexpr const char* GlobalName = "global";

/// The version that a recipe claims; 0 for none, for no recipe and for what is no number.
std::int64_t versionOf(const Value& recipe) { return recipeInteger(recipeEntry(recipe, "version")); }

/// The name of a recipe's file; no name leads out of the folder.
std::string fileName(std::string name) {
    std::replace(name.begin(), name.end(), '/', '-');
    return name + Extension;
}

std::string builtInPath(const std::string& name) { return resourceDirectory() + '/' + fileName(name); }

Result<std::vector<std::uint8_t>> readBuiltIn(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status))
        return Failure{FailureKind::Absent, path, "no recipe for this model is built in"};
    if (!std::filesystem::is_regular_file(status)) return Failure{FailureKind::Malformed, path, "this is no file"};
    std::ifstream file(path, std::ios::binary);
    if (!file) return Failure{FailureKind::Denied, path, "the file cannot be opened for reading"};
    // One byte more than fits shows that there is more.
    std::vector<std::uint8_t> content(RecipeFileLimit + 1);
    file.read(reinterpret_cast<char*>(content.data()), static_cast<std::streamsize>(content.size()));
    if (file.bad()) return Failure{FailureKind::Malformed, path, "the file cannot be read to its end"};
    content.resize(static_cast<std::size_t>(file.gcount()));
    return content;
}

/// The failure with the place that it is about.
Failure at(const std::string& place, Failure failure) {
    failure.source = place;
    return failure;
}

}  // namespace

HVKStatisticsPlatform::HVKStatisticsPlatform(Machine& machine)
    : machine_(machine),
      builtInHealth_(machine.diagnostics().source("built-in recipes", "sensors of this model",
                                                  "write a recipe for this model, see docs/recipes.md")),
      downloadedHealth_(machine.diagnostics().source("downloaded recipes", "newer sensors of this model",
                                                     "remove the file; the built-in recipe is used without it")),
      serverHealth_(machine.diagnostics().source("recipe server", "newer recipes")) {}

HVKStatisticsPlatform::~HVKStatisticsPlatform() = default;

HVKStatisticsPlatform& HVKStatisticsPlatform::shared() {
    static HVKStatisticsPlatform& instance = *new HVKStatisticsPlatform;
    return instance;
}

std::optional<std::string> HVKStatisticsPlatform::modelIdentifier() const {
    auto emulated = HVKStatisticsIOKitUtilities::iteratorWithServiceMatch(machine_.registry(), "FakeSMC");
    if (emulated.nextObject() != 0) return "FauxMac";
    auto model = machine_.system().modelName();
    if (!model || model->size() > LongestModel) return std::nullopt;
    const bool ascii =
        std::all_of(model->begin(), model->end(), [](char c) { return static_cast<unsigned char>(c) < 128; });
    if (!ascii || model->find('\0') != std::string::npos) return std::nullopt;
    return std::move(*model);
}

std::optional<std::string> HVKStatisticsPlatform::downloadPath(const std::optional<std::string>& name) const {
    if (!name) return std::nullopt;
    const auto support = machine_.files().applicationSupportDirectory();
    if (!support) return std::nullopt;
    const std::string folder = *support + Folder;
    // A folder that cannot be made shows when the file is to be written.
    (void)machine_.files().createDirectory(folder);
    return folder + '/' + fileName(*name);
}

std::optional<std::string> HVKStatisticsPlatform::path() const { return downloadPath(modelIdentifier()); }

std::optional<std::string> HVKStatisticsPlatform::pathGlobal() const { return downloadPath(GlobalName); }

std::vector<std::string> HVKStatisticsPlatform::availablePlatforms() const {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(resourceDirectory(), error), end; !error && entry != end;
         entry.increment(error))
        if (entry->path().extension() == Extension) names.push_back(entry->path().stem().string());
    std::sort(names.begin(), names.end(), comesBeforeByNumber);
    return names;
}

Value HVKStatisticsPlatform::readPlatform(std::span<const std::uint8_t> data) {
    return decodeRecipe(data).valueOr(Value());
}

// Loading

void HVKStatisticsPlatform::load(Recipe& recipe, const std::optional<std::string>& builtIn,
                                 const std::optional<std::string>& downloaded) {
    const std::string words = recipe.words;
    if (builtIn) {
        const std::string place = builtInPath(*builtIn);
        auto file = readBuiltIn(place);
        auto decoded = file ? decodeRecipe(*file) : Result<Value>(file.failure());
        if (decoded) {
            builtInHealth_.works();
            recipe.inForce = std::move(*decoded);
            HVKLogInfo("Statistics: Bundled " + words + " exists");
        } else {
            (void)builtInHealth_.failed(at(place, decoded.failure()));
        }
    }
    if (!downloaded) return;
    const auto file = machine_.files().read(*downloaded, RecipeFileLimit);
    // Nothing need have been downloaded.
    if (!file && (file.failure().kind == FailureKind::Absent || file.failure().kind == FailureKind::Unsupported))
        return;
    auto decoded = file ? decodeRecipe(*file) : Result<Value>(file.failure());
    if (!decoded) {
        (void)downloadedHealth_.failed(at(*downloaded, decoded.failure()));
        return;
    }
    downloadedHealth_.works();
    if (versionOf(*decoded) <= versionOf(recipe.inForce)) return;
    recipe.inForce = std::move(*decoded);
    HVKLogInfo("Statistics: Recipe " + words + " exists");
}

void HVKStatisticsPlatform::loadPlatform() { load(model_, modelIdentifier(), path()); }

void HVKStatisticsPlatform::loadGlobalPlatform() { load(global_, GlobalName, pathGlobal()); }

void HVKStatisticsPlatform::loadSimulatedPlatform(const std::string& name) { load(model_, name, path()); }

// Updating

void HVKStatisticsPlatform::updatePlatform(Completion completion) { update(model_, std::move(completion)); }

void HVKStatisticsPlatform::updateGlobalPlatform(Completion completion) { update(global_, std::move(completion)); }

/// The body of a request. A machine that does not know its model asks without one.
std::string HVKStatisticsPlatform::request(const Recipe& recipe) const {
    const HVKStatisticsOSVersion system(machine_);
    Value body{{"version", versionOf(recipe.inForce)},
               {"major", system.major},
               {"minor", system.minor},
               {"patch", system.bugfix}};
    if (const auto model = modelIdentifier()) body["model"] = *model;
    return body.dump();
}

void HVKStatisticsPlatform::update(Recipe& recipe, Completion completion) {
    // Without a model there is no recipe to ask for; the global one is for every model.
    if (server_.empty() || (&recipe == &model_ && !modelIdentifier())) {
        if (completion) completion(false);
        return;
    }
    HTTPRequest message;
    message.url = server_;
    while (!message.url.empty() && message.url.back() == '/') message.url.pop_back();
    message.url += recipe.urlPath;
    message.contentType = "application/json";
    message.body = request(recipe);
    message.timeout = TimeoutSeconds;
    message.limit = RecipeFileLimit;
    Queue& main = machine_.queues().main();
    machine_.http().send(std::move(message), [this, &main, &recipe, completion = std::move(completion),
                                              alive = std::weak_ptr(alive_)](Result<HTTPAnswer> answer) mutable {
        main.async(
            [this, &recipe, completion = std::move(completion), alive = std::move(alive), answer = std::move(answer)] {
                if (!alive.expired()) takeIn(recipe, answer, completion);
            });
    });
}

void HVKStatisticsPlatform::takeIn(Recipe& recipe, const Result<HTTPAnswer>& answer, const Completion& completion) {
    auto decoded = answer ? decodeRecipe(answer->body) : Result<Value>(answer.failure());
    if (decoded && !decoded->contains("version"))
        decoded = Failure{FailureKind::Malformed, {}, "the recipe has no version"};
    if (!decoded) {
        std::string detail = decoded.failure().detail;
        if (answer) detail += " (HTTP status " + std::to_string(answer->status) + ")";
        (void)serverHealth_.failed({decoded.failure().kind, server_ + recipe.urlPath, std::move(detail)});
        if (completion) completion(false);
        return;
    }
    serverHealth_.works();
    recipe.inForce = std::move(*decoded);
    HVKLogInfo("Statistics: Got new " + std::string(recipe.words));
    // The handler or the completion may end this object.
    const std::weak_ptr alive(alive_);
    const auto& handler = &recipe == &model_ ? platformHandler : globalPlatformHandler;
    if (const std::function<void()> call = handler) call();
    if (alive.expired()) return;
    keep(recipe, answer->body);
    if (completion) completion(true);
}

void HVKStatisticsPlatform::keep(const Recipe& recipe, std::span<const std::uint8_t> file) {
    const auto place = &recipe == &model_ ? path() : pathGlobal();
    const Status written =
        place ? machine_.files().replace(*place, file)
              : Status(Failure{FailureKind::Absent, "downloaded recipes", "there is no directory to keep them in"});
    if (written) {
        downloadedHealth_.works();
        return;
    }
    (void)downloadedHealth_.failed(at(place.value_or("downloaded recipes"), written.failure()));
    HVKLogError("Statistics: Cannot keep new " + std::string(recipe.words) + ": " + written.failure().detail);
}

}  // namespace hvk
