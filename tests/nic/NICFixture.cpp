#include "nic/NICFixture.h"

#include <algorithm>

#include "support/DeliveredEvents.h"

std::string NICFixture::answer(const std::string& command, int& status) {
    if (command == listCommand) {
        host.root.writeFile(listFile, host.root.readFile(listFile) + (listText.empty() ? table() : listText));
        status = listStatus;
    } else if (command == pollCommand) {
        std::string words = "Name Admin\n------ ------------\n";
        for (const auto& each : interfaces) words += each.name + " " + each.linkStatus + "\n";
        host.root.writeFile(listFile, host.root.readFile(listFile) + words);
        status = pollStatus;
    } else if (command.rfind("localcli network nic get -n ", 0) == 0) {
        host.root.writeFile(detailsFile, "   Name: vmnic0\n" + firmware);
    } else if (command == std::string("grep \"Firmware Version\" ") + detailsFile) {
        return firmware;
    }
    return "";
}

void NICFixture::becomeReadyForEvents() {
    letEventsPass(ipmi);
}

long NICFixture::commandCount(const std::string& text) const {
    const auto texts = commands.texts();
    return std::count(texts.begin(), texts.end(), text);
}
