#pragma once

#include <platform/base/types.h>
#include <platform/framework/CObject.h>

/// Receives a program's arguments one by one; the base lets them pass.
class PLATFORM_API CCommandLineInfo : public CObject {
public:
    CCommandLineInfo();
    ~CCommandLineInfo() override;

    /// `parameter` is never null and lives for the call; a flag comes without its leading "-" or "/". `isLast` marks
    /// the end of the command line.
    virtual void ParseParam(const wchar_t* parameter, BOOL isFlag, BOOL isLast);
};

/// Hands each argument over in its order; those that begin with "-" or "/" are flags.
PLATFORM_API void ParseCommandLine(const StringArray& arguments, CCommandLineInfo& info);

/// The same for the arguments of `main`, which are UTF-8; the first, the program's name, is left out.
PLATFORM_API void ParseCommandLine(int argc, const char* const* argv, CCommandLineInfo& info);
