// What the resources of the agent are made of, a row each: whoever starts, asks, documents, tests or stops
// them walks this table. The rows are bound from above (core/vokResourceRows.cpp), so that nothing here knows
// a resource class; a test binds rows of its own.
#pragma once

#include <cstddef>
#include <string>

#include "core/base/vokModules.h"

class vokResourceManager;

enum class vokSectionForm {
    array,   // each element of the inventory goes to the array under the key
    object,  // an element is what is under the key; the last one counts
};

// An inventory of a manager that has several, and the array of the document that its elements go to.
struct vokTypedSection {
    int type;         // for getInventoryJsonObject2; counted from 1
    const char* key;  // below HostDataCollection
};

struct vokResource {
    static constexpr std::size_t mostTypes = 4;
    using Manager = vokResourceManager* (*)();
    using TestEvent = void (*)(int id, const std::string& location);

    MODULE_NAME id;
    Manager manager = nullptr;           // asked at each use, never at load; null: this build has none
    int eventType = 0;                   // of its events, as getEventType returns it; 0: none
    TestEvent raiseTestEvent = nullptr;  // null: it has no test events
    const char* key = nullptr;           // its own key below HostDataCollection, or null
    vokSectionForm form = vokSectionForm::array;
    vokTypedSection types[mostTypes] = {};  // of a manager with several inventories, up to the first null key

    // A row is written as vokResource{ID}.managedBy(...).inDocument(...).withTestEvents(...).
    constexpr vokResource managedBy(Manager getInstance) const {
        vokResource row = *this;
        row.manager = getInstance;
        return row;
    }
    constexpr vokResource inDocument(const char* ownKey,
                                     vokSectionForm itsForm = vokSectionForm::array) const {
        vokResource row = *this;
        row.key = ownKey;
        row.form = itsForm;
        return row;
    }
    constexpr vokResource withInventory(int type, const char* sectionKey) const {
        vokResource row = *this;
        std::size_t next = 0;
        while (row.types[next].key) ++next;  // one too many does not compile
        row.types[next] = {type, sectionKey};
        return row;
    }
    constexpr vokResource withTestEvents(int type, TestEvent raise) const {
        vokResource row = *this;
        row.eventType = type;
        row.raiseTestEvent = raise;
        return row;
    }
};

class vokResourceTable {
public:
    constexpr vokResourceTable() = default;
    template <std::size_t count>
    constexpr explicit vokResourceTable(const vokResource (&rows)[count]) : rows_(rows), count_(count) {}

    // In the order in which managers are constructed, asked whether they run, and stopped.
    const vokResource* begin() const { return rows_; }
    const vokResource* end() const { return rows_ + count_; }
    // The row of a resource id, or null.
    const vokResource* find(int id) const;

private:
    const vokResource* rows_ = nullptr;
    std::size_t count_ = 0;
};

// The bound table; empty before one is bound. The rows live as long as the process.
const vokResourceTable& vokResources();
// Called when the library is loaded, and by tests before any thread runs.
void vokBindResources(const vokResourceTable& table);
