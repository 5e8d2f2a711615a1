#include <ostra/foundation/OstraError.h>

#include <ostra/foundation/SharedObjects.h>
#include <platform/base/output.h>
#include <platform/system/messages.h>

namespace {

constexpr DWORD firstForeignCode = 6000;

/// The message table, loaded once for all records that are alive; null when it cannot be loaded.
std::shared_ptr<ModuleHandle> LoadMessageTable() {
    static auto& tables = *new SharedObjects<ModuleHandle>;
    constexpr const wchar_t* name = L"netmsg.dll";
    return tables.Get(name, [=]() -> std::shared_ptr<ModuleHandle> {
        const HMODULE module = LoadLibraryW(name);
        if (!module) return nullptr;
        return {module, [](HMODULE last) { FreeLibrary(last); }};
    });
}

}  // namespace

OstraError::OstraError() : _module(LoadMessageTable()) {
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
    platform::MessageText(_module.get(), errorCode, _errorString);
    return _errorString;
}
