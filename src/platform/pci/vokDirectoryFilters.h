// Filters for scandir(3): 1 keeps an entry, 0 leaves it out.
#pragma once

#include <dirent.h>

// In /sys/class/net: interfaces with addresses of six bytes, as Ethernet has. Never "." and "..".
int enet_select(const struct dirent* entry);
// Names of the form "0000:3b:00.0": PCI functions, also in directories that hold other names.
int pci_select(const struct dirent* entry);
// In /proc: the names that are a number, which are the processes.
int proc_select(const struct dirent* entry);
// Everything but "." and ".."; links too, since the entries of a class directory are links.
int file_select(const struct dirent* entry);
