#include "host/Program.h"
#include "modules/Modules.h"
#include "testhost/TestModule.h"

int main(int count, char** arguments) {
    simhost::addHostModule(testModule());
    return simhost::runVokSimhost(count, arguments);
}
