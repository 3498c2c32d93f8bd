// A class of hardware for the tests: a disk at /dev/sg9, a library, a key of the description, a control
// command.
#pragma once

#include "host/HostModule.h"

const simhost::HostModule& testModule();
