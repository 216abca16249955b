// The two XSLT 1.0 stylesheets that number and sort an index for the platform's XML document.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace tarnwick {

// Room that each template fits in.
inline constexpr std::size_t kTemplateCapacity = 2048;

// Writes the stylesheet that numbers the entries (IDX), cut to the buffer and terminated.
void WriteNumberingTemplate(std::span<char> buffer);

// Writes the stylesheet that sorts the entries by UID and numbers them anew (SEQ), likewise. The
// order is fixed: what callers pass for it is not looked at, and some pass other orders.
void WriteSortingTemplate(std::span<char> buffer, std::string_view sortKey,
                          std::string_view dataType, std::string_view order);

// Whether sorted entries keep their columns (1) or their identifiers alone (0, at the start).
void SetSortedColumns(int value);

}  // namespace tarnwick
