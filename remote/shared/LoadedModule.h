// What the two modules loaded at run time share: where they lie and how their entries are found.
#pragma once

#include <string>

#include "common/WindowsApi.h"

namespace tarnwick {

// An entry before its call form is known.
using EntryPoint = void (*)();

// The folder of the 64-bit modules: the product's "Application Directory" with "64" put right
// behind it, without a separator; just "64" when the value is missing.
std::string ProgramDirectory64();

// Loads a module of that folder. Null when the file does not load. Nobody unloads it here.
HMODULE LoadProgramModule(const char* fileName);

// The module's entry of that name, or null.
EntryPoint BindEntry(HMODULE module, const char* name);

}  // namespace tarnwick
