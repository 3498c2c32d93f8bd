// Log lines about the controller that are written when an outcome changes, so that what fails at every poll
// is reported when it begins and when it ends.
#pragma once

#include <string>

namespace ipmi {

// Opening the device: 0, or an error number. A warning on each change.
void reportOpen(int error);

// A poll that is repeated: `trouble` is what is wrong with its answer, empty if nothing is. A warning on each
// change.
void reportPoll(const std::string& name, const std::string& trouble);

// A remote command. A warning for each one with trouble, and for the first one after it without.
void reportCommand(const std::string& name, const std::string& trouble);

}  // namespace ipmi
