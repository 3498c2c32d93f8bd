// Reads the key "storageControllers" of a description.
#pragma once

namespace simhost {

class HostDescription;
class Section;

// After the PCI functions are read. A controller's function that they lack is added to them. Throws
// std::runtime_error.
void parseStorageControllers(Section& root, HostDescription& into);

}  // namespace simhost
