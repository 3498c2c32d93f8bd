// A library that lacks ProcessLibCommand.
#include "library/LibraryClient.h"

VOK_ENTRY_POINT int storelib_without_entry_point() {
    return 0;
}
