// Whether the agent has the controllers that the kernel shows as SCSI hosts, with their plain disks and SATA
// RAID, is the decision of the program. Without this call it has only those of the vendors' libraries.
#pragma once

// Registers vokStorageControllerFactory. Called before any manager runs; a second call does nothing.
void vokUseGenericStorageFactory();
