#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace tests {

/// The process's time zone while it lives, named by its rule, so that no zone data need be installed.
class TimeZone {
public:
    explicit TimeZone(const char* rule) {
        if (const char* before = std::getenv("TZ")) _before = before;
        ::setenv("TZ", rule, 1);
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;
    ~TimeZone() { _before ? ::setenv("TZ", _before->c_str(), 1) : ::unsetenv("TZ"); }

    static constexpr const char* utc = "UTC0";
    static constexpr const char* middleEurope = "CET-1CEST,M3.5.0,M10.5.0/3";
    static constexpr const char* newYork = "EST5EDT,M3.2.0,M11.1.0";
    static constexpr const char* india = "IST-5:30";

private:
    std::optional<std::string> _before;
};

}  // namespace tests
