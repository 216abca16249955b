// Globally unique identifiers, replaceable for tests.
#pragma once

#include <array>
#include <cstdint>

namespace tarnwick {

struct Guid {
    std::uint32_t data1 = 0;
    std::uint16_t data2 = 0;
    std::uint16_t data3 = 0;
    std::array<std::uint8_t, 8> data4{};
};

// A freshly made identifier.
Guid NewGuid();

// Replaces what makes them; null brings the system's back.
void SetGuidSource(Guid (*source)());

}  // namespace tarnwick
