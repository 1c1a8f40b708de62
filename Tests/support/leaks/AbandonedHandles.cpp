// A test run that ends with a handle of the registry still held fails, whichever test forgot it.

#include <gtest/gtest.h>

#include "HVKPlatform/support/TreeRegistry.h"

namespace hvk {
namespace {

class AbandonedHandles : public testing::Environment {
public:
    void TearDown() override { EXPECT_EQ(TreeRegistry::abandonedHandles(), 0U) << "handles were never given back"; }
};

[[maybe_unused]] testing::Environment* const environment = testing::AddGlobalTestEnvironment(new AbandonedHandles);

}  // namespace
}  // namespace hvk
