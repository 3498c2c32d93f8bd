// A library of physical locations for the fake host.
#pragma once

#include <string>

class FakeHost;

// Offers the library of this name. It encodes a location as "%014X%02X" of the kind of unit and the last
// number of the location record: the slot of a card, the bay of a disk.
void addLocationLibrary(const FakeHost& host, const std::string& name);
