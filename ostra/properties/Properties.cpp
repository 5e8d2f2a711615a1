#include <ostra/properties/Properties.h>

#include <ostra/foundation/ParameterString.h>
#include <ostra/properties/entries.h>
#include <platform/base/error_codes.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <platform/base/little_endian.h>
#include <platform/base/output.h>
#include <platform/base/text.h>

#include <algorithm>
#include <cstring>

namespace {

using platform::NumberAt;
using platform::PutNumber;

constexpr int blockSize = 10;
constexpr std::size_t endMark = 4;
constexpr std::size_t numberSize = entryHeader + sizeof(DWORD) + endMark;
constexpr std::size_t smallestProperty = entryHeader + numberSize;
constexpr WORD nameType = CLUSPROP_SYNTAX_NAME >> 16;
constexpr WORD listValueType = CLUSPROP_SYNTAX_LIST_VALUE_SZ >> 16;

/// Of a text with its null.
std::size_t TextSize(std::wstring_view text) {
    return (platform::Utf16Length(text) + 1) * 2;
}

WORD FormatOf(DWORD syntax) {
    return static_cast<WORD>(syntax & 0xFFFF);
}

/// The value entry's property; null for a value that is neither number nor text, and for a number cut short.
std::shared_ptr<Property> MakeProperty(std::span<const BYTE> name, DWORD syntax, std::span<const BYTE> data) {
    using platform::FromUtf16;
    if (FormatOf(syntax) == CLUSPROP_FORMAT_SZ)
        return std::make_shared<Property>(FromUtf16(name), FromUtf16(data), CLUSPROP_FORMAT_SZ);
    if (FormatOf(syntax) == CLUSPROP_FORMAT_DWORD && data.size() >= 4)
        return std::make_shared<Property>(FromUtf16(name), NumberAt(data.data()), CLUSPROP_FORMAT_DWORD);
    return nullptr;
}

}  // namespace

Properties::Properties() : CObList(blockSize), _eventViewer(L"Ostra::Property", NTEventViewer::Error, L"") {}

Properties::Properties(const Properties& other)
    : CObList(blockSize),
      _lastName(other._lastName),
      _lastValue(other._lastValue),
      _controlCode(other._controlCode),
      _eventViewer(other._eventViewer),
      _bufferLength(other._bufferLength),
      _streamSize(other._streamSize),
      _properties(other._properties),
      _info(other._info) {
    std::memcpy(_buffer, other._buffer, std::min<std::size_t>(BufferSize, std::size_t{_streamSize} + 8));
    if (!other._propertyList) return;
    _propertyList = _buffer;
    _writePosition = _buffer + (other._writePosition - other._propertyList);
}

Properties::~Properties() = default;

int Properties::Set(const StringArray*, DWORD) {
    platform::WriteOutput(L"Properties::Set( CStringArray*, DWORD ). Tp be implemented by teh derived class.\n");
    SetLastError(platform::error::CallNotImplemented);
    return 0;
}

std::wstring Properties::Info() {
    int index = 0;
    for (const std::shared_ptr<Property>& property : _properties)
        platform::WriteOutput(platform::Format(L" Property %d _name:%ws _value:%ws\n", index++,
                                               property->Name().c_str(), property->Value().c_str()));
    return _info;
}

DWORD Properties::PropertyCount() const {
    return _propertyList ? NumberAt(_propertyList) : 0;
}

void Properties::Initialize() {
    _propertyList = nullptr;
    _writePosition = nullptr;
    _bufferLength = 0;
    _streamSize = 0;
}

int Properties::BuildPropertyList(const StringArray* parameters) {
    std::memset(_buffer, 0, BufferSize);
    Initialize();
    if (!parameters) return 0;
    for (const std::wstring& parameter : *parameters) {
        if (AddParameter(parameter)) continue;
        const std::wstring name(ParameterString(parameter).name);
        _eventViewer << L"Properties::BuildPropertyList( ). The property list is too long at " + name + L".";
        Initialize();  // half of a list must not be sent
        return 0;
    }
    if (!_propertyList && !parameters->empty()) SetLastError(platform::error::InvalidParameter);
    return 0;
}

bool Properties::AddParameter(std::wstring_view parameter) {
    const ParameterString parsed(parameter);
    if (parsed.keyword == L"REG_SZ") return AddText(parsed.name, parsed.value);
    if (parsed.keyword == L"REG_DWORD") return AddNumber(parsed.name, platform::ParseDecimal(parsed.value));
    _eventViewer << L"Set funciton not implemented for this data type:" + std::wstring(parsed.keyword);
    return true;
}

int Properties::AddPropertyToStream(const Property& property) {
    switch (property.Format()) {
        case CLUSPROP_FORMAT_SZ: return AddText(property.Name(), property.Value()) ? 1 : 0;
        case CLUSPROP_FORMAT_DWORD: return AddNumber(property.Name(), property.ValueInDWORD()) ? 1 : 0;
        default: return BeginProperty(property.Name(), 0) ? 1 : 0;
    }
}

bool Properties::AddText(std::wstring_view name, std::wstring_view value) {
    const std::size_t size = TextSize(value);
    if (!BeginProperty(name, entryHeader + Padded(size) + endMark)) return false;
    _writePosition += WriteText(_writePosition, listValueType, value, size) + endMark;
    return true;
}

bool Properties::AddNumber(std::wstring_view name, DWORD value) {
    if (!BeginProperty(name, numberSize)) return false;
    _writePosition += FillPropertyHelperDataStructure(_writePosition, listValueType, value) + endMark;
    return true;
}

bool Properties::BeginProperty(std::wstring_view name, std::size_t valueSize) {
    const std::size_t nameSize = TextSize(name);
    const std::size_t whole = entryHeader + Padded(nameSize) + valueSize;
    if (!ResetBufferLength(whole)) {
        SetLastError(platform::error::InsufficientBuffer);
        return false;
    }
    _writePosition += WriteText(_writePosition, nameType, name, nameSize);
    PutNumber(_propertyList, NumberAt(_propertyList) + 1);
    _streamSize += static_cast<DWORD>(whole);
    return true;
}

bool Properties::ResetBufferLength(std::size_t extra) {
    if (extra > BufferSize || _streamSize + extra + 8 > BufferSize) return false;
    _bufferLength = static_cast<DWORD>(_streamSize + extra + 8);
    if (_propertyList && _streamSize != 0) return true;
    _propertyList = _buffer;
    _writePosition = _buffer + countSize;
    PutNumber(_propertyList, 0);
    return true;
}

std::size_t Properties::FillPropertyHelperDataStructure(BYTE* place, WORD type, std::wstring_view value,
                                                        DWORD byteLength) {
    if (byteLength == 0) return WriteText(place, type, value, TextSize(value));
    BYTE* const written = BeginEntry(place, type, CLUSPROP_FORMAT_SZ, byteLength);
    if (!written) return 0;
    std::vector<BYTE> bytes = platform::ToUtf16(value);
    bytes.resize(byteLength);
    std::copy(bytes.begin(), bytes.end(), written);
    return entryHeader + Padded(byteLength);
}

std::size_t Properties::FillPropertyHelperDataStructure(BYTE* place, WORD type, DWORD value) {
    BYTE* const bytes = BeginEntry(place, type, CLUSPROP_FORMAT_DWORD, sizeof value);
    if (!bytes) return 0;
    PutNumber(bytes, value);
    return entryHeader + sizeof value;
}

std::size_t Properties::FillPropertyHelperDataStructure(BYTE* place, WORD type, const BYTE* bytes, DWORD byteLength) {
    BYTE* const written = BeginEntry(place, type, CLUSPROP_FORMAT_BINARY, byteLength);
    if (!written) return 0;
    std::copy(bytes, bytes + byteLength, written);
    return entryHeader + Padded(byteLength);
}

std::size_t Properties::WriteText(BYTE* place, WORD type, std::wstring_view text, std::size_t size) {
    BYTE* const written = BeginEntry(place, type, CLUSPROP_FORMAT_SZ, size);
    if (!written) return 0;
    BYTE* const null = platform::PutUtf16(written, text);
    null[0] = null[1] = 0;
    return entryHeader + Padded(size);
}

BYTE* Properties::BeginEntry(BYTE* place, WORD type, WORD format, std::size_t byteLength) {
    const std::size_t size = entryHeader + Padded(byteLength);
    if (size + endMark > static_cast<std::size_t>(_buffer + BufferSize - place)) return nullptr;
    PutNumber(place, DWORD{type} << 16 | format);
    PutNumber(place + size - 4, 0);  // the padding; the bytes come over it
    PutNumber(place + 4, static_cast<DWORD>(byteLength));
    PutNumber(place + size, 0);
    return place + entryHeader;
}

int Properties::Parse() {
    EntryReader reader({_buffer, _streamSize});
    DWORD count = 0;
    if (reader.HasNumber()) {
        count = reader.Peek();
        reader.SkipNumber();
    }
    _properties.reserve(_properties.size() + std::min<std::size_t>(count, _streamSize / smallestProperty));
    for (; count > 0; --count) {
        DWORD syntax = 0;
        std::span<const BYTE> name;
        std::span<const BYTE> data;
        if (!reader.Next(syntax, name)) break;
        if (!reader.HasNumber()) break;
        if (reader.Peek() != CLUSPROP_SYNTAX_ENDMARK) {
            if (!reader.Next(syntax, data)) break;
            if (auto property = MakeProperty(name, syntax, data)) _properties.push_back(std::move(property));
        }
        if (!reader.HasNumber()) break;
        reader.SkipNumber();
    }
    return static_cast<int>(_properties.size());
}

void Properties::EmptyPropertyList() {
    _properties.clear();
}
