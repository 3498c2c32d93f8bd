// Asks one disk everything that the agent can ask, and prints the answers: what shows whether a disk, its
// adapter or a cable is at fault. It reads only and takes no lock, so it also works beside a running agent.
#pragma once

#include <iosfwd>
#include <string>

// Probes `node`, an absolute path: a SCSI generic node or the block device of one. Each row is printed as
// soon as it is answered. Returns an exit status of vokdOptions, also without its message if `out` can't be
// written; for any other than 0 `errors` gets a line.
int vokdProbeDisk(const std::string& node, std::ostream& out, std::ostream& errors);
