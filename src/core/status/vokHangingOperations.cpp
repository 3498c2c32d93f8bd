// The operations that hang, in the status record.
#include "core/status/vokStatusLayout.h"
#include "core/status/vokStatusRecord.h"
#include "platform/access/vokHostAccess.h"
#include "platform/access/vokLongOperation.h"

namespace {

static_assert(vokLongOperationNotice::slots == vokStatusLayout::operations);

void noteLongOperation(const vokLongOperationNotice& notice) {
    if (notice.hasEnded)
        vokNoteHangingEnd(notice.slot);
    else
        vokNoteHanging(notice.slot, notice.description, vokWallClockSeconds() - notice.seconds,
                       notice.classId);
}

[[maybe_unused]] const bool isBound = (vokBindLongOperationListener(noteLongOperation), true);

}  // namespace
