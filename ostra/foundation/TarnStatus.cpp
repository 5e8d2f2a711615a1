#include <ostra/foundation/TarnStatus.h>

TarnStatus::TarnStatus(DWORD statusCode, const std::wstring& statusString)
    : _statusCode(statusCode), _statusString(statusString.empty() ? L"status unknown" : statusString) {}

void TarnStatus::Set(DWORD statusCode, const std::wstring& statusString) {
    _statusCode = statusCode;
    _statusString = statusString;
}
