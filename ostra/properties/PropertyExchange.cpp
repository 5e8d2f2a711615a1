#include <ostra/properties/Properties.h>

#include <ostra/foundation/display.h>
#include <platform/base/error_codes.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>

#include <algorithm>

namespace {

// An answer that does not fit is asked for again, as it may change between two calls; but not without end.
constexpr int mostCalls = 21;

}  // namespace

bool Properties::IsMeantFor(const ObjectKind& kind, DWORD controlCode) {
    return ControlCodeObject(controlCode) == kind.object;
}

int Properties::Write(const ObjectKind& kind, const StringArray* parameters, DWORD controlCode,
                      const ControlCall& control, ListLength length) {
    _controlCode = controlCode;
    Initialize();
    if (kind.invalidSet && !IsMeantFor(kind, controlCode)) {
        Report(kind.invalidSet, true);
        SetLastError(platform::error::InvalidParameter);
        return 0;
    }
    if (!parameters || parameters->empty()) {
        SetLastError(platform::error::InvalidParameter);
        return 0;
    }
    BuildPropertyList(parameters);
    if (!PropertyStreams()) return 0;
    const DWORD size = length == ListLength::Exact ? CurrentStreamSize() : _bufferLength;
    const DWORD status = control(_propertyList, size, nullptr, 0, nullptr);
    Trace(kind.setTrace, status);
    if (status == platform::error::Success) return 1;
    Report(kind.setFailure + _error.GetErrorString(status), kind.displaysSetFailure);
    return 0;
}

bool Properties::Read(const ObjectKind& kind, DWORD controlCode, const ControlCall& control, DWORD diskCode) {
    Initialize();
    EmptyPropertyList();
    if (!IsMeantFor(kind, controlCode)) {
        Report(kind.invalidGet, true);
        SetLastError(platform::error::InvalidParameter);
        return false;
    }
    _controlCode = controlCode;
    const DWORD status = Receive(kind, control);
    if (status != platform::error::Success) {
        Report(kind.getFailure + _error.GetErrorString(status), kind.displaysGetFailure);
        SetLastError(status);  // also that the answer is too large, which is a failure here
        return false;
    }
    if (diskCode != 0 && controlCode == diskCode)
        ParseDiskInformation();
    else
        Parse();
    return true;
}

DWORD Properties::ReadInto(StringMap* attributes, const ObjectKind& kind, DWORD controlCode, const ControlCall& control,
                           DWORD diskCode) {
    if (Read(kind, controlCode, control, diskCode)) CopyTo(attributes, _properties.size());
    return ParsedCount();
}

void Properties::CopyTo(StringMap* attributes, std::size_t count) {
    if (!attributes) return;
    for (std::size_t index = 0; index < std::min(count, _properties.size()); ++index) {
        _lastName = _properties[index]->Name();
        _lastValue = _properties[index]->Value();
        (*attributes)[_lastName] = _lastValue;
    }
}

DWORD Properties::Receive(const ObjectKind& kind, const ControlCall& control) {
    DWORD status = platform::error::MoreData;
    for (int call = 0; call < mostCalls && status == platform::error::MoreData; ++call) {
        DWORD returned = 0;
        _bufferLength = BufferSize;
        status = control(nullptr, 0, _buffer, _bufferLength, &returned);
        Trace(kind.getTrace, status);
        // Each call fills the buffer from its start; one that failed left nothing in it.
        _streamSize = status == platform::error::Success ? std::min<DWORD>(returned, BufferSize) : 0;
    }
    return status;
}

void Properties::Trace(const wchar_t* format, DWORD status) const {
    if (format && platform::IsOutputRead())
        platform::WriteOutput(platform::Format(format, status, _error.GetErrorString(status).c_str()));
}

void Properties::Report(const std::wstring& text, bool isDisplayed) const {
    _eventViewer << text;
    if (isDisplayed) DisplayFailure(_error, text);
}
