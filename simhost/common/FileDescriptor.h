// The owner of a file descriptor that the simulation shares with the agent, under the name that it uses.
#pragma once

#include "platform/access/vokOwnedDescriptor.h"

namespace simhost {

using FileDescriptor = vokOwnedDescriptor;

}  // namespace simhost
