// Registration when the library is loaded: constructing one adds its argument to the list of its type.
#pragma once

#include <utility>
#include <vector>

template <typename T>
class vokRegistryManager {
public:
    explicit vokRegistryManager(T registered) { _registryList().push_back(std::move(registered)); }

    // In the order of registration. Written only before the managers start.
    static std::vector<T>& _registryList() {
        static std::vector<T> list;  // here, so that it exists before the first registration
        return list;
    }
};
