#pragma once

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

namespace tests {

/// A state directory of the test's own, which $OSTRA_HOME names until the object's end and which is removed then.
class TemporaryHome {
public:
    TemporaryHome() {
        if (const char* before = std::getenv("OSTRA_HOME")) _before = before;
        std::string pattern = (std::filesystem::temp_directory_path() / "ostra-test-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) std::abort();
        _path = pattern;
        ::setenv("OSTRA_HOME", pattern.c_str(), 1);
    }
    ~TemporaryHome() {
        if (_before)
            ::setenv("OSTRA_HOME", _before->c_str(), 1);
        else
            ::unsetenv("OSTRA_HOME");
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }
    TemporaryHome(const TemporaryHome&) = delete;
    TemporaryHome& operator=(const TemporaryHome&) = delete;

    const std::filesystem::path& Path() const { return _path; }

private:
    std::filesystem::path _path;
    std::optional<std::string> _before;
};

}  // namespace tests
