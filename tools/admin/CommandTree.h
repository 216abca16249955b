// The command line as the commands see it. The parser itself is known to few files: its templates
// take longer to compile than all else in a command.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tarnwick::admin {

// What the help of a command says: a line for the list of commands, what there is to know, and
// command lines to copy.
struct CommandHelp {
    const char* summary;
    const char* details;
    const char* examples;
};

// An option or argument of a command.
class Option {
  public:
    explicit Option(CLI::Option* option) : option_(option) {}

    const Option& Required() const;
    const Option& Excludes(const Option& other) const;
    const Option& OneOf(const std::vector<std::string>& values) const;

  private:
    CLI::Option* option_;
};

// A command, the tool itself or a group of options: a name for what the parser owns. The variables
// of options are filled before the command is run and must live until then.
class Command {
  public:
    explicit Command(CLI::App* app) : app_(app) {}

    // A command below this one; options that belong to the tool may follow it.
    Command AddCommand(const char* name, const CommandHelp& help) const;
    // Does nothing without a command below it.
    void NeedsCommand() const;
    // Whether the command line names one below it.
    bool HasChosenCommand() const;
    // Options of which one at the most may be given.
    Command AddChoice(const char* name, const char* help) const;

    // A name without dashes is that of an argument.
    Option AddOption(const char* name, std::string& value, const std::string& help) const;
    // Tells one that is empty from one that is not given.
    Option AddOption(const char* name, std::optional<std::string>& value,
                     const std::string& help) const;
    // All arguments that are left.
    Option AddOption(const char* name, std::vector<std::string>& values,
                     const std::string& help) const;
    // An option that may be repeated, with a value each time.
    Option AddRepeated(const char* name, std::vector<std::string>& values,
                       const std::string& help) const;
    // A TCP port; the help tells the present value as the one that is taken when it is left out.
    Option AddPort(const char* name, std::uint16_t& port, const std::string& help) const;
    Option AddFlag(const char* name, bool& value, const std::string& help) const;

    void OnRun(std::function<void()> run) const;

    const CLI::App& Parser() const { return *app_; }

  private:
    CLI::App* app_;
};

}  // namespace tarnwick::admin
