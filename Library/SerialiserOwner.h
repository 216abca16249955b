// Ownership of an index serialiser of any class.
#pragma once

#include <memory>
#include <new>
#include <utility>

#include "Library/LIBStoreIndexSerialisation/StoreIndexSerialiser.h"

namespace tarnwick {

// The base class has no virtual destructor, so an owner remembers how to delete what it was given.
using SerialiserOwner = std::unique_ptr<StoreIndexSerialiser, void (*)(StoreIndexSerialiser*)>;

// Owns nothing when there is no memory for it; callers take that for a load or save that failed.
template <typename Serialiser, typename... Arguments>
SerialiserOwner MakeSerialiser(Arguments&&... arguments) {
    return {new (std::nothrow) Serialiser(std::forward<Arguments>(arguments)...),
            [](StoreIndexSerialiser* owned) { delete static_cast<Serialiser*>(owned); }};
}

inline SerialiserOwner NoSerialiser() {
    return {nullptr, [](StoreIndexSerialiser*) {}};
}

}  // namespace tarnwick
