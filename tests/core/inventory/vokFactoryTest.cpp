#include "core/inventory/vokFactory.h"

#include <gtest/gtest.h>

#include "core/inventory/vokResourceManager.h"
#include "fc/FCResourceManager.h"
#include "host/HostResourceManager.h"
#include "nic/NICResourceManager.h"

namespace vokFactoryTest {
namespace {

TEST(Factory, ReturnsTheHostManagerForId1) {
    EXPECT_EQ(vokFactory().createInstance(1), HostResourceManager::getInstance());
    EXPECT_EQ(vokFactory().createInstance(1), vokFactory().createInstance(1));
}

TEST(Factory, ReturnsTheEthernetManagerForId3) {
    EXPECT_EQ(vokFactory().createInstance(3), NICResourceManager::getInstance());
}

TEST(Factory, ReturnsTheFibreChannelManagerForId0) {
    EXPECT_EQ(vokFactory().createInstance(0), FCResourceManager::getInstance());
}

TEST(Factory, ReturnsNullForReservedAndUnknownIds) {
    for (const int id : {-1, 4, 5, 6, 7, 8, 100, 101, 102, 103, 104, 105, 2147483647})
        EXPECT_EQ(vokFactory().createInstance(id), nullptr) << id;
}

}  // namespace
}  // namespace vokFactoryTest
