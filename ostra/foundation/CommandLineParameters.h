#pragma once

#include <ostra/export.h>
#include <platform/base/types.h>
#include <platform/framework/CCommandLineInfo.h>

/// Collects a program's arguments: the plain ones, and the flags that the programs know ("t", in lower case). One
/// thread at a time.
class OSTRA_API CommandLineParameters : public CCommandLineInfo {
public:
    CommandLineParameters();
    ~CommandLineParameters() override;

    const StringArray& ParameterList() const { return _parameterList; }
    /// The recognised flags, without their leading "-" or "/", as often as they were given.
    const StringArray& FlagList() const { return _flagList; }

    /// Called by the framework for each argument; unknown flags are dropped. Writes a line to standard output.
    void ParseParam(const wchar_t* parameter, BOOL isFlag, BOOL isLast) override;

private:
    StringArray _parameterList;
    StringArray _flagList;
};
