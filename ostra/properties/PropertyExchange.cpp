#include <ostra/properties/Properties.h>

#include <ostra/foundation/display.h>
#include <platform/base/error_codes.h>

#include <algorithm>

namespace {

// An answer that grew between two calls is asked for again, but not without end.
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
        return 0;
    }
    if (!parameters || parameters->empty()) return 0;
    BuildPropertyList(parameters);
    if (!PropertyStreams()) return 0;
    const DWORD size = length == ListLength::Exact ? CurrentStreamSize() : _bufferLength;
    const DWORD status = control(_propertyList, size, nullptr, 0, nullptr);
    if (status == platform::error::Success) return 1;
    Report(kind.setFailure + _error.GetErrorString(status), kind.displaysSetFailure);
    return 0;
}

bool Properties::Read(const ObjectKind& kind, DWORD controlCode, const ControlCall& control, DWORD diskCode) {
    Initialize();
    EmptyPropertyList();
    if (!IsMeantFor(kind, controlCode)) {
        Report(kind.invalidGet, true);
        return false;
    }
    _controlCode = controlCode;
    const DWORD status = Receive(control);
    if (status == platform::error::MoreData) return false;
    if (status != platform::error::Success) {
        Report(kind.getFailure + _error.GetErrorString(status), kind.displaysGetFailure);
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

DWORD Properties::Receive(const ControlCall& control) {
    DWORD status = platform::error::MoreData;
    for (int call = 0; call < mostCalls && status == platform::error::MoreData; ++call) {
        DWORD returned = 0;
        _bufferLength = BufferSize;
        status = control(nullptr, 0, _buffer, _bufferLength, &returned);
        // Each call fills the buffer from its start; one that failed left nothing in it.
        _streamSize = status == platform::error::Success ? std::min<DWORD>(returned, BufferSize) : 0;
    }
    return status;
}

void Properties::Report(const std::wstring& text, bool isDisplayed) const {
    _eventViewer << text;
    if (isDisplayed) DisplayFailure(_error, text);
}
