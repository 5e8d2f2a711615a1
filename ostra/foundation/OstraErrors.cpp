#include <ostra/foundation/OstraErrors.h>

#include <ostra/foundation/OstraError.h>
#include <platform/base/format.h>
#include <platform/base/output.h>
#include <platform/framework/CStatusBar.h>
#include <platform/framework/CWnd.h>

namespace {

constexpr int blockSize = 10;
constexpr int indicatorCount = 4;

}  // namespace

OstraErrors::OstraErrors() : CPtrList(blockSize) {}

OstraErrors::OstraErrors(const std::wstring& name) : CPtrList(blockSize), _name(name) {}

OstraErrors* OstraErrors::operator=(const OstraErrors& other) {
    _name = other._name;
    return this;
}

OstraErrors* OstraErrors::operator=(const OstraErrors* other) {
    return other ? *this = *other : this;
}

int OstraErrors::Add(OstraError* error) {
    if (!error) return 0;
    AddTail(error);
    return 0;
}

LONG OstraErrors::GetLastErrorCode() const {
    const OstraError* last = Last();
    return last ? last->ErrorCode() : 0;
}

std::wstring OstraErrors::GetLastErrorString() const {
    const OstraError* last = Last();
    return last ? last->ErrorString() : std::wstring();
}

OstraError* OstraErrors::Find(LONG errorCode) const {
    for (void* member : *this) {
        OstraError* error = static_cast<OstraError*>(member);
        platform::WriteOutputLine(platform::Format(L"%d %d", error->ErrorCode(), errorCode));
        if (error->ErrorCode() == errorCode) return error;
    }
    return nullptr;
}

std::wstring OstraErrors::Info() const {
    platform::WriteOutputLine(platform::Format(L"%d errors.", GetCount()));
    for (const void* member : *this) {
        const OstraError* error = static_cast<const OstraError*>(member);
        platform::WriteOutput(platform::Format(L"%d %ws\n", error->ErrorCode(), error->ErrorString().c_str()));
    }
    return _info;
}

void OstraErrors::EnableStatusBarWriting(CWnd* window, int) {
    const std::unique_ptr<CStatusBar> bar = window ? window->NewStatusBar() : nullptr;
    if (!bar || bar->Create(window, WS_CHILD | WS_VISIBLE | CBRS_BOTTOM, CStatusBar::standardId)) return;
    const UINT separators[indicatorCount] = {};
    bar->SetIndicators(separators, indicatorCount);
}

void OstraErrors::EnableStatusBarWriting(CStatusBarCtrl* control, int) {
    if (control) control->SetText(L"ASdadasdsadasd", 0, SBT_NOBORDERS);
}

const OstraError* OstraErrors::Last() const {
    return static_cast<const OstraError*>(GetTail());
}
