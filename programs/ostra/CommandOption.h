#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace programs {

/// An argument or option of a command, in the parser's hands. The commands reach the parser through here alone: each
/// source that reads the parser's own headers takes seconds more to compile.
class CommandOption {
public:
    explicit CommandOption(CLI::Option* option) : _option(option) {}

    // Each answers the option itself.
    CommandOption Required() const;
    /// What the help calls its value.
    CommandOption Type(const std::string& name) const;
    /// One value each time that it is given; it may be given several times.
    CommandOption OneValueEach() const;
    CommandOption Needs(const CommandOption& other) const;
    CommandOption Excludes(const CommandOption& other) const;
    CommandOption Within(std::int64_t least, std::int64_t most) const;
    CommandOption NotNegative() const;
    CommandOption OneOf(const std::vector<std::string>& values) const;
    /// An empty text is refused with these words.
    CommandOption NotEmpty(const std::string& refusal) const;

private:
    CLI::Option* _option;
};

// An option when its name begins with hyphens, else an argument. `value` outlives the command; what it holds before is
// what it has when nothing is given.
CommandOption AddOption(CLI::App& command, const std::string& name, std::string& value,
                        const std::string& description = {});
CommandOption AddOption(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                        const std::string& description = {});
CommandOption AddOption(CLI::App& command, const std::string& name, std::int32_t& value,
                        const std::string& description);
CommandOption AddOption(CLI::App& command, const std::string& name, std::int64_t& value,
                        const std::string& description);
CommandOption AddOption(CLI::App& command, const std::string& name, std::uint64_t& value,
                        const std::string& description);
CommandOption AddFlag(CLI::App& command, const std::string& name, bool& value, const std::string& description);

}  // namespace programs
