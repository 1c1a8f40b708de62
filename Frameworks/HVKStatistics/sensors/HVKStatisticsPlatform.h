// HVKStatisticsPlatform.h - finds, reads and refreshes the two recipes of a machine: the one of its model, which says
// what sensors it has, and the global one.
//
// Each comes from two places, and the higher version wins: built in with the framework (real files of the installation,
// read as such even when a recorded machine is measured), and downloaded into the user's own files (asked of the
// machine, so that a recorded one has its own). It does not know what a recipe says but for its "version"; loading one
// belongs to the modules.
//
//     HVKStatisticsPlatform platform(machine);
//     platform.loadPlatform();
//     sensors.loadFromPlatform(platform.platform());
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "HVKBase/Export.h"
#include "HVKPlatform/Machine.h"
#include "HVKPlatform/Value.h"

namespace hvk {

/// The recipes of a machine. Thread: the main thread; answers of the server are taken in on the main queue.
class HVK_EXPORT HVKStatisticsPlatform {
public:
    /// Told whether a newer recipe was put in force.
    using Completion = std::function<void(bool updated)>;

    /// Reads nothing yet.
    explicit HVKStatisticsPlatform(Machine& machine = Machine::current());
    ~HVKStatisticsPlatform();
    HVKStatisticsPlatform(const HVKStatisticsPlatform&) = delete;
    HVKStatisticsPlatform& operator=(const HVKStatisticsPlatform&) = delete;

    /// The one instance of the process, over the current machine; made on first call, never destroyed.
    static HVKStatisticsPlatform& shared();

    /// The recipe of the model that is in force, a dictionary; null when there is none.
    const Value& platform() const { return model_.inForce; }
    void setPlatform(Value recipe) { model_.inForce = std::move(recipe); }

    /// The same for the global recipe.
    const Value& globalplatform() const { return global_.inForce; }
    void setGlobalplatform(Value recipe) { global_.inForce = std::move(recipe); }

    /// Called when a downloaded recipe of the model has been put in force, before it is kept on disk.
    std::function<void()> platformHandler;

    /// The same for the global recipe.
    std::function<void()> globalPlatformHandler;

    /// The address of the server that hands out newer recipes, e.g. "https://recipes.example"; a slash at its end does
    /// not matter. Empty, as at first: updates report false at once and nothing is sent.
    const std::string& server() const { return server_; }
    void setServer(std::string address) { server_ = std::move(address); }

    /// The name of the model's recipe: "FauxMac" on a machine with a service of class "FakeSMC", otherwise the model
    /// name, e.g. "MacBookPro18,1". Nothing when the machine does not know it, and when it is not ASCII or longer than
    /// 127 characters.
    std::optional<std::string> modelIdentifier() const;

    /// Where the downloaded recipe of the model is kept: "Corvane 7/Platform/<model>.recipe" in the directory for what
    /// a program keeps for its user. Makes the folder when it is not there; nothing without a model or such a
    /// directory. A slash in a model's name is a "-" in the file's.
    std::optional<std::string> path() const;

    /// The same for the global recipe: "global.recipe" in that folder.
    std::optional<std::string> pathGlobal() const;

    /// The names of the recipes that are built in, "global" among them, in the order of a person: "Mac2,1" before
    /// "Mac10,1". Empty when there are none.
    std::vector<std::string> availablePlatforms() const;

    /// The dictionary of a recipe file (RecipeFile.h); null for anything else.
    static Value readPlatform(std::span<const std::uint8_t> data);

    /// Reads the built-in recipe of the model, then the downloaded one, which wins when its version is higher. A file
    /// that is missing or broken leaves in force what was; why it was not taken is in the diagnostics.
    void loadPlatform();

    /// The same for the global recipe.
    void loadGlobalPlatform();

    /// As `loadPlatform`, with the built-in recipe of another model, by its name in `availablePlatforms`.
    void loadSimulatedPlatform(const std::string& name);

    /// Asks the server for a newer recipe of the model and returns at once. An answer that decodes and has a version,
    /// whatever version and whatever HTTP status, is put in force, announced by the handler and kept on disk as it
    /// came; the completion, which may be empty, is told true. Otherwise it is told false and nothing changes. It is
    /// called on the main queue, 120 s later at most; at once when nothing can be sent, and never when this object is
    /// gone by then. A disk that refuses the file is noted in the diagnostics and the log.
    void updatePlatform(Completion completion);

    /// The same for the global recipe.
    void updateGlobalPlatform(Completion completion);

private:
    /// One of the two recipes.
    struct Recipe {
        const char* words;    ///< as the log calls it: "platform"
        const char* urlPath;  ///< where the server has it
        Value inForce = nullptr;
    };

    void load(Recipe& recipe, const std::optional<std::string>& builtIn, const std::optional<std::string>& downloaded);
    void update(Recipe& recipe, Completion completion);
    void takeIn(Recipe& recipe, const Result<HTTPAnswer>& answer, const Completion& completion);
    void keep(const Recipe& recipe, std::span<const std::uint8_t> file);
    std::optional<std::string> downloadPath(const std::optional<std::string>& name) const;
    std::string request(const Recipe& recipe) const;

    Machine& machine_;
    SourceHealth& builtInHealth_;
    SourceHealth& downloadedHealth_;
    SourceHealth& serverHealth_;
    std::string server_;
    Recipe model_{"platform", "/corvane7/platforms/"};
    Recipe global_{"global platform", "/corvane7/globalplatforms/"};

    /// An answer that waits on the main queue holds it weakly, and does nothing once this object is gone.
    std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};

}  // namespace hvk
