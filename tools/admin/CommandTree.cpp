#include "tools/admin/CommandTree.h"

#include <CLI/CLI.hpp>
#include <utility>

namespace tarnwick::admin {

const Option& Option::Required() const {
    option_->required();
    return *this;
}

const Option& Option::Excludes(const Option& other) const {
    option_->excludes(other.option_);
    return *this;
}

const Option& Option::OneOf(const std::vector<std::string>& values) const {
    option_->check(CLI::IsMember(values));
    return *this;
}

Command Command::AddCommand(const char* name, const CommandHelp& help) const {
    CLI::App* command = app_->add_subcommand(name, help.summary);
    command->footer(std::string(help.details) + "\nExamples:\n" + help.examples);
    command->fallthrough();
    return Command(command);
}

void Command::NeedsCommand() const {
    app_->require_subcommand(1);
}

bool Command::HasChosenCommand() const {
    return !app_->get_subcommands().empty();
}

Command Command::AddChoice(const char* name, const char* help) const {
    CLI::Option_group* group = app_->add_option_group(name, help);
    group->require_option(0, 1);
    return Command(group);
}

Option Command::AddOption(const char* name, std::string& value, const std::string& help) const {
    return Option(app_->add_option(name, value, help));
}

Option Command::AddOption(const char* name, std::optional<std::string>& value,
                          const std::string& help) const {
    return Option(app_->add_option_function<std::string>(
        name, [&value](const std::string& text) { value = text; }, help));
}

Option Command::AddOption(const char* name, std::vector<std::string>& values,
                          const std::string& help) const {
    return Option(app_->add_option(name, values, help));
}

Option Command::AddRepeated(const char* name, std::vector<std::string>& values,
                            const std::string& help) const {
    return Option(app_->add_option(name, values, help)->expected(1)->take_all());
}

Option Command::AddPort(const char* name, std::uint16_t& port, const std::string& help) const {
    return Option(
        app_->add_option(name, port, help)->check(CLI::Range(1, 65535))->capture_default_str());
}

Option Command::AddFlag(const char* name, bool& value, const std::string& help) const {
    return Option(app_->add_flag(name, value, help));
}

void Command::OnRun(std::function<void()> run) const {
    app_->callback(std::move(run));
}

}  // namespace tarnwick::admin
