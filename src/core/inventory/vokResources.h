// The table of the agent's resources, one row each: who manages a resource, where the document has it, who
// raises its test events. The rows are bound from above (core/vokResourceRows.cpp), so that nothing here
// depends on a resource class; a test binds its own rows.
#pragma once

#include <cstddef>
#include <string>

#include "core/base/vokModules.h"

class vokResourceManager;

enum class vokSectionForm {
    array,   // each element of the inventory is appended to the array under the key
    object,  // an element is the value of the key; the last one is used
};

// One inventory of a manager that has several, and the array of the document to which its elements are
// added.
struct vokTypedSection {
    int type;         // for getInventoryJsonObject2; counted from 1
    const char* key;  // below HostDataCollection
};

struct vokResource {
    static constexpr std::size_t maxTypes = 4;
    using Manager = vokResourceManager* (*)();
    using TestEvent = void (*)(int id, const std::string& location);

    MODULE_NAME id;
    Manager manager = nullptr;           // called at each use, never at load; null: this build has none
    int eventType = 0;                   // of its events, as getEventType returns it; 0: none
    TestEvent raiseTestEvent = nullptr;  // null: it has no test events
    const char* key = nullptr;           // its own key below HostDataCollection, or null
    vokSectionForm form = vokSectionForm::array;
    vokTypedSection types[maxTypes] = {};  // of a manager with several inventories; a null key ends the list

    // A row is written as vokResource{ID}.managedBy(...).inDocument(...).withTestEvents(...).
    constexpr vokResource managedBy(Manager getInstance) const {
        vokResource row = *this;
        row.manager = getInstance;
        return row;
    }
    constexpr vokResource inDocument(const char* sectionKey,
                                     vokSectionForm sectionForm = vokSectionForm::array) const {
        vokResource row = *this;
        row.key = sectionKey;
        row.form = sectionForm;
        return row;
    }
    constexpr vokResource withInventory(int type, const char* sectionKey) const {
        vokResource row = *this;
        std::size_t next = 0;
        while (row.types[next].key) ++next;  // one too many fails to compile
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

    // The order in which managers are constructed, stopped, and asked by the test event of the agent.
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
