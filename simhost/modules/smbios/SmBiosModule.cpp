#include "modules/smbios/SmBiosModule.h"

#include <filesystem>

#include "host/DescriptionSection.h"
#include "host/HostDescription.h"
#include "host/LayoutFiles.h"
#include "live/FirmwareReader.h"
#include "live/MachineReaders.h"
#include "modules/smbios/SmBios.h"
#include "modules/smbios/SmBiosDescription.h"

namespace fs = std::filesystem;

namespace simhost {

namespace {

class SmBiosModule : public HostModule {
public:
    void parse(Section& root, const std::string& directory, HostDescription& into) const override {
        root.section("smbios", [&](Section& smbios) {
            into.part<SmBios>().deviceFile = parseSmBios(smbios, directory);
        });
    }
    void readMachine(MachineReaders& machine, HostDescription& into) const override {
        into.part<SmBios>().deviceFile = firmwareDeviceFile(machine.files);
    }
    // Without a table the host has no device file for one.
    void layOut(const std::string& root, const HostDescription& host,
                const LayoutSources& /*sources*/) const override {
        const std::string directory = root + "/vmfs/devices/char/mem";
        const std::string& content = host.part<SmBios>().deviceFile;
        fs::create_directories(directory);
        if (content.empty())
            fs::remove(directory + "/smbios");
        else
            layOutFile(directory + "/smbios", content);
    }
};

}  // namespace

const HostModule& smBiosModule() {
    static const SmBiosModule module;
    return module;
}

}  // namespace simhost
