#include <ostra/foundation/ClusterComponent.h>

#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>
#include <platform/base/text.h>
#include <platform/framework/CStatusBar.h>

#include <cstdarg>

namespace {

constexpr const wchar_t* libraryComponent = L"Ostra";
constexpr std::size_t traceLimit = 511;

/// The longest head of a UTF-8 text of at most that many bytes that does not end inside a character.
std::string_view CutToBytes(std::string_view text, std::size_t bytes) {
    if (text.size() <= bytes) return text;
    const auto continues = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
    while (bytes > 0 && continues(text[bytes])) --bytes;
    return text.substr(0, bytes);
}

std::wstring ValueOf(const StringMap& attributes, const std::wstring& key) {
    const auto attribute = attributes.find(key);
    return attribute != attributes.end() ? attribute->second : std::wstring();
}

}  // namespace

ClusterComponent::ClusterComponent()
    : _eventViewer(libraryComponent, NTEventViewer::Error, L""),
      _clusterComponents(&_children),
      _debug(&_debugLog),
      _debugLog(libraryComponent) {}

ClusterComponent::ClusterComponent(const ClusterComponent& other) : ClusterComponent() {
    _iD = other._iD;
    _error = other._error;
}

ClusterComponent::~ClusterComponent() = default;

int ClusterComponent::Add(ClusterComponents* components, ClusterComponent* component) const {
    if (!components) return 0;
    if (component) component->SetOwner(const_cast<ClusterComponent*>(this));
    components->Add(component);
    return components->NumberOfComponents();
}

std::wstring ClusterComponent::GetCommonAttribute(const std::wstring& key) {
    return _attributeValue = ValueOf(_commonAttributes, key);
}

std::wstring ClusterComponent::GetPrivateAttribute(const std::wstring& key) {
    return _attributeValue = ValueOf(_privateAttributes, key);
}

int ClusterComponent::SetError(LONG errorCode, const std::wstring& errorString) const {
    _recordedErrors.push_back(std::make_unique<OstraError>(errorCode, errorString));
    _errors.Add(_recordedErrors.back().get());
    return _errors.NumberOfComponents();
}

LONG ClusterComponent::GetErrorCode() const {
    return _errors.GetLastErrorCode();
}

std::wstring ClusterComponent::GetErrorString() const {
    return _errors.GetLastErrorString();
}

DWORD ClusterComponent::SetStatus(DWORD statusCode, const std::wstring& statusString) {
    _status.Set(statusCode, statusString);
    return statusCode;
}

DWORD ClusterComponent::StatusCode(int) {
    Status(0);
    return _status.StatusCode();
}

std::wstring ClusterComponent::StatusString(int argument) {
    Status(argument);
    return _status.StatusString();
}

void ClusterComponent::SetStatusBar(CStatusBar* statusBar) {
    if (!statusBar) return;
    _statusBar = statusBar;
    _statusBar->SetPaneText(0, L"ClusterComponent::SetStatusBar( )", 1);
    _statusBar->UpdateWindow();
}

void ClusterComponent::SetStatusBarText(const std::wstring& text, int pane) const {
    if (_statusBar) _statusBar->SetPaneText(pane, text, 1);
}

void ClusterComponent::printf(const char* format, ...) const {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = platform::FormatArguments(format, arguments);
    va_end(arguments);
    Trace(platform::FromUtf8(CutToBytes(text, traceLimit)));
}

void ClusterComponent::printf(const wchar_t* format, ...) const {
    std::va_list arguments;
    va_start(arguments, format);
    const std::wstring text = platform::FormatArguments(format, arguments);
    va_end(arguments);
    Trace(std::wstring(platform::CutToUnits(text, traceLimit)));
}

ClusterComponent* ClusterComponent::operator=(const ClusterComponent& other) {
    if (this == &other) return this;
    _iD = other._iD;
    _name = other._name;
    _clusterPtr = other._clusterPtr;
    _clusterHandle = other._clusterHandle;
    return this;
}

ClusterComponent* ClusterComponent::operator=(const ClusterComponent* other) {
    printf("ClusterComponent::operator=( ). On entry.\n");
    if (other) *this = *other;
    printf("ClusterComponent::operator=( ). On exit.\n");
    return this;
}

void ClusterComponent::Trace(const std::wstring& text) const {
    const platform::LastErrorKept kept;
    if (OstraDebug::IsDebugEnabled(libraryComponent))
        _debug->DbgLog(L"%s", text.c_str());
    else
        platform::WriteOutput(text);
}
