// A running simulated host that has the module of the tests, see tests/testhost.
#pragma once

#include "simhost/SimulatedMachine.h"

class TestHost : public SimulatedMachine {
protected:
    void startTestHost(const std::vector<std::string>& options = {}, const std::string& description = "") {
        std::vector<std::string> command{VOK_TESTHOST_PROGRAM, "run", "--root", root(), "--host"};
        if (description.empty()) {
            command.push_back("bare");
        } else {
            directory.writeFile("host.json", description);
            command.push_back(directory.path() + "/host.json");
        }
        command.insert(command.end(), options.begin(), options.end());
        hostProgram = RunningProgram(directory.path(), "testhost", command, "ready");
    }
};
