// Where the resources are found. Install.consumer shows that a moved prefix finds its own.

#include "HVKBase/Resources.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace hvk {
namespace {

TEST(Resources, AreFoundBesideTheProgramUnlessTheHostNamesAnotherPlace) {
    const std::string found = resourceDirectory();
    EXPECT_TRUE(std::filesystem::exists(found + "/en.lproj/HVKStatisticsKit.strings")) << '"' << found << '"';
    setResourceDirectory("/opt/host/resources//");
    EXPECT_EQ(resourceDirectory(), "/opt/host/resources");
    setResourceDirectory("");
    EXPECT_EQ(resourceDirectory(), found);
}

}  // namespace
}  // namespace hvk
