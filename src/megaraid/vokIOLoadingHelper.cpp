#include "megaraid/vokIOLoadingHelper.h"

bool vokIOLoadingHelper::isSubjectToLoadingRules(unsigned int, unsigned int) {
    return false;
}

void vokIOLoadingHelper::updateServerIOLoadingTable() {}

bool vokIOLoadingHelper::isDeviceAndChassisIOLoadingRulesCompliant(const std::string&) {
    return false;
}

bool vokIOLoadingHelper::getTQStorageEnclosureBoxNumberAndDriveBayOffset(const std::string&, int& box,
                                                                         int& offset) {
    box = -1;
    offset = 0;
    return false;
}
