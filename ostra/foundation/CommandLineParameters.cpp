#include <ostra/foundation/CommandLineParameters.h>

#include <platform/base/output.h>

CommandLineParameters::CommandLineParameters() = default;

CommandLineParameters::~CommandLineParameters() = default;

void CommandLineParameters::ParseParam(const wchar_t* parameter, BOOL isFlag, BOOL) {
    const std::wstring text = parameter ? parameter : L"";
    if (!isFlag)
        _parameterList.push_back(text);
    else if (text == L"t")
        _flagList.push_back(text);
    platform::WriteOutputLine(L"CommandLineParameters::ParseParam( ). " + text);
}
