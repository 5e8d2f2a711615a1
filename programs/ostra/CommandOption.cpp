#include <programs/ostra/CommandOption.h>

#include <CLI/CLI.hpp>

namespace programs {

CommandOption CommandOption::Required() const {
    return CommandOption(_option->required());
}

CommandOption CommandOption::Type(const std::string& name) const {
    return CommandOption(_option->type_name(name));
}

CommandOption CommandOption::OneValueEach() const {
    return CommandOption(_option->allow_extra_args(false));
}

CommandOption CommandOption::Needs(const CommandOption& other) const {
    return CommandOption(_option->needs(other._option));
}

CommandOption CommandOption::Excludes(const CommandOption& other) const {
    return CommandOption(_option->excludes(other._option));
}

CommandOption CommandOption::Within(std::int64_t least, std::int64_t most) const {
    return CommandOption(_option->check(CLI::Range(least, most)));
}

CommandOption CommandOption::NotNegative() const {
    return CommandOption(_option->check(CLI::NonNegativeNumber));
}

CommandOption CommandOption::OneOf(const std::vector<std::string>& values) const {
    return CommandOption(_option->check(CLI::IsMember(values)));
}

CommandOption CommandOption::NotEmpty(const std::string& refusal) const {
    return CommandOption(
        _option->check([refusal](const std::string& text) { return text.empty() ? refusal : std::string(); }));
}

CommandOption AddOption(CLI::App& command, const std::string& name, std::string& value,
                        const std::string& description) {
    return CommandOption(command.add_option(name, value, description));
}

CommandOption AddOption(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                        const std::string& description) {
    return CommandOption(command.add_option(name, values, description));
}

CommandOption AddOption(CLI::App& command, const std::string& name, std::int32_t& value,
                        const std::string& description) {
    return CommandOption(command.add_option(name, value, description));
}

CommandOption AddOption(CLI::App& command, const std::string& name, std::int64_t& value,
                        const std::string& description) {
    return CommandOption(command.add_option(name, value, description));
}

CommandOption AddOption(CLI::App& command, const std::string& name, std::uint64_t& value,
                        const std::string& description) {
    return CommandOption(command.add_option(name, value, description));
}

CommandOption AddFlag(CLI::App& command, const std::string& name, bool& value, const std::string& description) {
    return CommandOption(command.add_flag(name, value, description));
}

}  // namespace programs
