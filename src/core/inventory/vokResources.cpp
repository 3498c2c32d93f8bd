#include "core/inventory/vokResources.h"

#include <algorithm>

namespace {

vokResourceTable bound;  // constant-initialised, so rows can be bound while the library is loaded

}  // namespace

const vokResource* vokResourceTable::find(int id) const {
    const auto* const found =
        std::find_if(begin(), end(), [id](const vokResource& row) { return row.id == id; });
    return found == end() ? nullptr : found;
}

const vokResourceTable& vokResources() {
    return bound;
}

void vokBindResources(const vokResourceTable& table) {
    bound = table;
}
