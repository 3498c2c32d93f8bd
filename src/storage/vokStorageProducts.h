// The product tables of the storage controllers and disks. Their rows are data/storage-controllers.csv and
// data/storage-drives.csv, turned into a source when the agent is built.
#pragma once

#include <cstddef>

inline constexpr std::size_t MAX_STORAGE_HBA_LIST = 13;
inline constexpr std::size_t MAX_STORAGE_DRIVE_LIST = 83;

// The first row that matches is taken, so a row of any board comes after those of the same chipset.
struct vokStorageHba {
    unsigned long chipset;
    unsigned long board;     // 0: any
    const char* partNumber;  // empty: none
    unsigned long family;    // vokStorageFamily
    const char* model;
};
static_assert(sizeof(vokStorageHba) == 5 * sizeof(void*), "a row is five words");

struct vokStorageDrive {
    char model[41];
    char otherModel[41];                // empty: none
    char partNumberFirstPlatform[33];   // 7711PID02020001
    char partNumberSecondPlatform[33];  // 7711PID03020102 and 7711PID03020101
};
static_assert(sizeof(vokStorageDrive) == 148, "a row is 148 bytes");

extern const vokStorageHba gStorageHbaList[MAX_STORAGE_HBA_LIST];
extern const vokStorageDrive gStorageDriveList[MAX_STORAGE_DRIVE_LIST];
