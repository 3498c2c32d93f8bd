// A real vendor's library, which calls its own functions of the standard's names, in a process with the
// agent's functions of these names.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <cstring>
#include <memory>
#include <string>

#include "fc/hbaapi/hbaapilib.h"
#include "fc/hbaapi/hbaapitables.h"
#include "platform/access/vokHostAccess.h"
#include "support/TemporaryDirectory.h"

namespace hbaapilibVendorTest {
namespace {

// The machine itself, with files of the test.
class VendorHost : public vokKernelHostAccess {
public:
    std::string path(const std::string& absolute) const override { return root.path() + absolute; }

    const TemporaryDirectory root;
};

class HbaVendor : public testing::Test {
protected:
    HbaVendor() {
        auto owned = std::make_unique<VendorHost>();
        const TemporaryDirectory& root = owned->root;
        root.writeFile("/etc/config/mev/vok/hba.conf", "vendor\t/lib/vendor.so\n");
        root.writeFile("/lib/README", "");
        EXPECT_EQ(::symlink(VOK_HBA_VENDOR_LIBRARY, (root.path() + "/lib/vendor.so").c_str()), 0);
        vokSetHostAccess(std::move(owned));
    }
    ~HbaVendor() override { HBA_FreeLibrary(); }
};

TEST_F(HbaVendor, CallsItsOwnFunctionsOfTheStandardsNames) {
    ASSERT_EQ(HBA_LoadLibrary(), 0u);
    EXPECT_EQ(librarytable()[0].status, HBALibraryStatus::loaded);
    ASSERT_EQ(HBA_GetNumberOfAdapters(), 1u);
    char name[hbaNameLength];
    ASSERT_EQ(HBA_GetAdapterName(0, name), 0u);
    EXPECT_STREQ(name, "vendor-own-0");

    const HBA_HANDLE handle = HBA_OpenAdapter(name);
    ASSERT_EQ(handle, 0x51u);
    HBA_ADAPTERATTRIBUTES adapter{};
    ASSERT_EQ(HBA_GetAdapterAttributes(handle, &adapter), 0u);
    EXPECT_STREQ(adapter.SerialNumber, "VENDOR0001");
    EXPECT_EQ(adapter.NumberOfPorts, 1u);
    HBA_PORTATTRIBUTES port{};
    EXPECT_EQ(HBA_GetAdapterPortAttributes(handle, 0, &port), 0u);
    EXPECT_EQ(port.PortState, 2u);
    EXPECT_EQ(HBA_GetAdapterPortAttributes(handle, 1, &port), 6u);
    HBA_CloseAdapter(handle);
    EXPECT_EQ(HBA_GetAdapterAttributes(handle, &adapter), 3u) << "the vendor's, for a closed adapter";
    EXPECT_EQ(HBA_FreeLibrary(), 77u);
}

TEST_F(HbaVendor, IsLoadedAgainAfterItWasFreed) {
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(HBA_LoadLibrary(), 0u);
        EXPECT_EQ(HBA_GetNumberOfAdapters(), 1u);
    }
    EXPECT_EQ(HBA_FreeLibrary(), 77u);
    EXPECT_EQ(HBA_GetNumberOfAdapters(), 0u);
}

// The dynamic linker would bind a vendor's calls to them.
TEST_F(HbaVendor, FindsNoCSymbolOfTheStandardInTheAgent) {
    ASSERT_EQ(HBA_LoadLibrary(), 0u);
    for (const char* name : {"RegisterLibrary",
                             "LoadLibrary",
                             "FreeLibrary",
                             "GetNumberOfAdapters",
                             "GetAdapterName",
                             "GetVersion",
                             "OpenAdapter",
                             "GetLibraryPath",
                             "CheckLibrary",
                             "CloseAdapter",
                             "GetAdapterAttributes",
                             "GetAdapterPortAttributes",
                             "GetPortStatistics",
                             "GetDiscoveredPortAttributes",
                             "GetPortAttributesByWWN",
                             "SendCTPassThru",
                             "GetEventBuffer",
                             "SetRNIDMgmtInfo",
                             "GetRNIDMgmtInfo",
                             "SendRNID",
                             "RefreshInformation",
                             "ResetStatistics",
                             "GetFcpTargetMapping",
                             "GetFcpPersistentBinding",
                             "SendScsiInquiry",
                             "SendReportLUNs",
                             "SendReadCapacity"})
        EXPECT_EQ(::dlsym(RTLD_DEFAULT, (std::string("HBA_") + name).c_str()), nullptr) << name;
}

}  // namespace
}  // namespace hbaapilibVendorTest
