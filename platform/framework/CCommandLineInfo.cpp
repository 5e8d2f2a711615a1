#include <platform/framework/CCommandLineInfo.h>

#include <platform/base/text.h>

CCommandLineInfo::CCommandLineInfo() = default;

CCommandLineInfo::~CCommandLineInfo() = default;

void CCommandLineInfo::ParseParam(const wchar_t*, BOOL, BOOL) {}

void ParseCommandLine(const StringArray& arguments, CCommandLineInfo& info) {
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::wstring& argument = arguments[index];
        const bool isFlag = argument.starts_with(L'-') || argument.starts_with(L'/');
        const bool isLast = index + 1 == arguments.size();
        info.ParseParam(argument.c_str() + (isFlag ? 1 : 0), isFlag ? 1 : 0, isLast ? 1 : 0);
    }
}

void ParseCommandLine(int argc, const char* const* argv, CCommandLineInfo& info) {
    StringArray arguments;
    for (int index = 1; index < argc; ++index) arguments.push_back(platform::FromUtf8(argv[index]));
    ParseCommandLine(arguments, info);
}
