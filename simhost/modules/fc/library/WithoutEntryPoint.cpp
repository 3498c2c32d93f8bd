// A library of the right name that does not export HBA_RegisterLibrary.
#include "library/LibraryClient.h"

VOK_ENTRY_POINT int hba_without_entry_point() {
    return 0;
}
