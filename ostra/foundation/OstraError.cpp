#include <ostra/foundation/OstraError.h>

#include <platform/base/output.h>
#include <platform/system/messages.h>

namespace {

constexpr DWORD firstForeignCode = 6000;

/// The message table; null when it could not be loaded. Records refer to it until the process ends.
HMODULE MessageTable() {
    static const HMODULE table = LoadLibraryW(L"netmsg.dll");
    return table;
}

}  // namespace

OstraError::OstraError() : _module(MessageTable()) {
    if (!_module) platform::WriteOutputLine(L"OstraError::OstraError( ). Failure calling LoadLibrary( ).");
}

OstraError::OstraError(LONG errorCode, const std::wstring& errorString)
    : _errorCode(errorCode), _errorString(errorString.empty() ? L"error " + std::to_wstring(errorCode) : errorString) {}

OstraError::OstraError(const OstraError&) : OstraError() {}

OstraError* OstraError::operator=(const OstraError& other) {
    _module = other._module;
    _errorCode = other._errorCode;
    _errorString = other._errorString;
    return this;
}

OstraError* OstraError::operator=(const OstraError* other) {
    return other ? *this = *other : this;
}

std::wstring OstraError::GetErrorString(DWORD errorCode) const {
    if (errorCode < firstForeignCode) GetNTErrorString(errorCode);
    return _errorString;
}

std::wstring OstraError::GetNTErrorString(DWORD errorCode) const {
    platform::MessageText(_module, errorCode, _errorString);
    return _errorString;
}
