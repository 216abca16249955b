// Answers for programs (--json): JSON lines in UTF-8.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "tools/admin/Commands.h"

namespace tarnwick::admin {

using Json = nlohmann::ordered_json;

// The answer of a command, begun when it is known that there is one. A list is one object a line, a
// single answer one line.
class JsonLines {
  public:
    // Prints the first line: {"formatVersion":1,"command":"list"}, with "dryRun":true behind it
    // when nothing is written. The version changes when a reader of an earlier one would go wrong.
    explicit JsonLines(const Context& context);
    // Prints an object as a line. Texts must be UTF-8; what is not is replaced.
    void Add(const Json& object);
};

// An answer of many parts: objects for programs, text for people.
class Answer {
  public:
    explicit Answer(const Context& context);
    // For people alone: a line above what follows.
    void Title(const std::string& title);
    // The text, on lines of its own, is marked when the command is a dry run.
    void Add(const Json& object, const std::string& text);

  private:
    const Context& context_;
    std::optional<JsonLines> lines_;
    bool isEmpty_ = true;
};

}  // namespace tarnwick::admin
