#include "core/inventory/vokBuildAccount.h"

#include <string>

#include "core/inventory/vokResources.h"
#include "core/status/vokStatusRecord.h"
#include "platform/access/vokHostAccess.h"

namespace {

std::string textOf(const Json::Value& object, const char* key) {
    const Json::Value& value = object.isObject() ? object[key] : Json::Value::nullSingleton();
    return value.isString() ? value.asString() : std::string();
}

void count(const Json::Value& document, vokSectionStatus& section) {
    const Json::Value& status = document.isObject() ? document["Status"] : Json::Value::nullSingleton();
    const std::string health = textOf(status, "Health");
    if (health == vokResourceHealthMap[VOK_HEALTH_OK])
        ++section.ok;
    else if (health == vokResourceHealthMap[VOK_HEALTH_WARNING])
        ++section.warning;
    else if (health == vokResourceHealthMap[VOK_HEALTH_CRITICAL])
        ++section.critical;
    else
        ++section.unknown;
    if (textOf(status, "State") == vokResourceStateMap[VOK_STATE_LINKDOWN]) ++section.linkDown;
}

vokSectionStatus sectionOf(const char* key, const std::vector<Json::Value>& documents) {
    vokSectionStatus section;
    section.name = key;
    for (const Json::Value& document : documents) count(document, section);
    return section;
}

// As the document has them: the key of the class counts only where its inventories have none. A section that
// is one object has no Status, and is left out.
std::vector<vokSectionStatus> sectionsOf(const vokResource& resource,
                                         const std::vector<std::vector<Json::Value>>& inventories) {
    std::vector<vokSectionStatus> sections;
    const auto add = [&](std::size_t index, const char* key) {
        if (index < inventories.size()) sections.push_back(sectionOf(key, inventories[index]));
    };
    const bool isTyped = resource.types[0].key != nullptr;
    if (!isTyped && resource.key && resource.form == vokSectionForm::array) add(0, resource.key);
    for (const vokTypedSection& section : resource.types)
        if (section.key) add(static_cast<std::size_t>(section.type) - 1, section.key);
    return sections;
}

}  // namespace

vokBuildAccount::vokBuildAccount(int classId) : classId_(classId), scope_(classId) {
    vokNoteBuildBegin(classId_, vokWallClockSeconds());
}

void vokBuildAccount::end(time_t now) const {
    vokBuildResult result;
    result.end = now;
    result.milliseconds = stopwatch_.milliseconds();
    vokNoteBuildEnd(classId_, result);
}

void vokBuildAccount::cutShort() const {
    vokNoteBuildCutShort(classId_);
}

void vokAccountForInventory(int classId, const std::vector<std::vector<Json::Value>>& inventories) {
    const vokResource* const resource = vokResources().find(classId);
    std::size_t records = 0;
    for (const std::vector<Json::Value>& documents : inventories) records += documents.size();
    vokNoteInventory(classId, records,
                     resource ? sectionsOf(*resource, inventories) : std::vector<vokSectionStatus>());
}
