// Ownership of an index serialiser of any class.
#pragma once

#include <memory>
#include <utility>

#include "Library/LIBStoreIndexSerialisation/StoreIndexSerialiser.h"

namespace tarnwick {

// The base class has no virtual destructor, so an owner remembers how to delete what it was given.
using SerialiserOwner = std::unique_ptr<StoreIndexSerialiser, void (*)(StoreIndexSerialiser*)>;

template <typename Serialiser, typename... Arguments>
SerialiserOwner MakeSerialiser(Arguments&&... arguments) {
    return {new Serialiser(std::forward<Arguments>(arguments)...),
            [](StoreIndexSerialiser* owned) { delete static_cast<Serialiser*>(owned); }};
}

inline SerialiserOwner NoSerialiser() {
    return {nullptr, [](StoreIndexSerialiser*) {}};
}

}  // namespace tarnwick
