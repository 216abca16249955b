// How many bytes the program holds in blocks of operator new.
#pragma once

#include <cstddef>

namespace tarnwick::bench {

std::size_t HeldBytes();

}  // namespace tarnwick::bench
