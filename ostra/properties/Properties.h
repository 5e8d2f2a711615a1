#pragma once

#include <ostra/export.h>
#include <ostra/foundation/NTEventViewer.h>
#include <ostra/foundation/OstraError.h>
#include <ostra/properties/Property.h>
#include <platform/base/types.h>
#include <platform/framework/CObList.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The working set of one read or write of a cluster object's properties: it turns parameter strings (name "=" registry
/// type ":" value) into the binary list that a control operation takes, and a list that one returned into Property
/// objects. Made for one operation and destroyed after it; an object belongs to one thread at a time.
///
/// A list is a 32-bit count, then for each property a name entry, a value entry and an end mark of 32 zero bits. An
/// entry is a syntax word (value type in the high half, format in the low half), a byte length, and the bytes padded
/// with zeros to four. Numbers are little-endian, texts UTF-16LE with their null.
///
/// The list's buffer is part of the object, which is therefore large (130,000 bytes: nothing for a small thread's
/// stack) and allocates nothing for a list; of a parsed one it allocates the Property objects and the array of them.
class OSTRA_API Properties : public CObList {
public:
    static constexpr std::size_t BufferSize = 130000;

    Properties();
    /// Copies the list into a buffer of its own and shares the parsed Property objects.
    Properties(const Properties& other);
    Properties& operator=(const Properties&) = delete;
    ~Properties() override;

    /// Sends the parameters to the object; what derived classes do. Here a line on standard output, and 0 (last error
    /// 120).
    virtual int Set(const StringArray* parameters, DWORD controlCode);
    /// Lists the parsed properties on standard output. The result is always empty.
    virtual std::wstring Info();

    /// The list built, its count word first; null when there is none. Part of this object.
    const BYTE* PropertyStreams() const { return _propertyList; }
    /// The bytes of the list built: its entries and the count word.
    DWORD CurrentStreamSize() const { return _streamSize + countSize; }
    /// The number of properties in the list built; 0 when there is none.
    DWORD PropertyCount() const;
    /// Forgets the list.
    void Initialize();

    /// Builds a list from parameter strings of the types REG_SZ and REG_DWORD, in place of the one before. A string of
    /// another type is reported to the event log and left out; a list that outgrows the buffer is reported and dropped
    /// whole, which leaves no list. Always 0: PropertyCount and PropertyStreams have the outcome, and when no list came
    /// of strings, the last error is 122 for one too long, else 87.
    int BuildPropertyList(const StringArray* parameters);
    /// Appends a property (one that is neither number nor text with its name alone). 1, or 0 (last error 122) when it
    /// does not fit into the buffer and the list is as it was.
    int AddPropertyToStream(const Property& property);

    /// Appends what the list returned by the service holds to the parsed properties, as far as the bytes returned are
    /// well formed; a property whose value is neither number nor text is left out. The number parsed so far.
    int Parse();
    /// Deletes the parsed properties, unless a copy of this object still holds them.
    void EmptyPropertyList();

protected:
    /// One control operation on the object at hand.
    using ControlCall =
        std::function<DWORD(const void* input, DWORD inputSize, void* output, DWORD outputSize, DWORD* returned)>;

    /// What tells the kinds of cluster object apart. Texts go in front of the message of the code, if there is one.
    struct ObjectKind {
        DWORD object;               // the top byte of the control codes that are meant for it
        const wchar_t* invalidGet;  // refused code
        const wchar_t* invalidSet;  // the same of a set; null: a set sends any code
        const wchar_t* getFailure;
        const wchar_t* setFailure;
        bool displaysGetFailure;
        bool displaysSetFailure;
        const wchar_t* getTrace = nullptr;  // written to standard output after each call, with status and message
        const wchar_t* setTrace = nullptr;
    };

    enum class ListLength { Exact, WithTrailingZero };

    static bool IsMeantFor(const ObjectKind& kind, DWORD controlCode);
    /// Builds the list and sends it. 1 when the service accepted it, else 0 (also when there is nothing to send).
    int Write(const ObjectKind& kind, const StringArray* parameters, DWORD controlCode, const ControlCall& control,
              ListLength length = ListLength::Exact);
    /// Reads an answer into the buffer and parses it: as a list of disks when the code is `diskCode`, else as a
    /// property list. False when the code was refused, the service failed or its answer is too large; no parsed
    /// properties are left then.
    bool Read(const ObjectKind& kind, DWORD controlCode, const ControlCall& control, DWORD diskCode = 0);
    /// Reads, copies what was parsed into the caller's map and answers how much that was.
    DWORD ReadInto(StringMap* attributes, const ObjectKind& kind, DWORD controlCode, const ControlCall& control,
                   DWORD diskCode = 0);
    /// Copies the first `count` parsed properties into the caller's map.
    void CopyTo(StringMap* attributes, std::size_t count);

    DWORD ParsedCount() const { return static_cast<DWORD>(_properties.size()); }

    /// Appends the properties of an answer to a disk question: a value list without a count word.
    int ParseDiskInformation();

    /// Write one entry at `place`, a position in the buffer, and 32 zero bits after it. The size of the entry, or 0
    /// when it would not fit into the buffer and nothing was written. A byte length of 0 stands for the whole text.
    std::size_t FillPropertyHelperDataStructure(BYTE* place, WORD type, std::wstring_view value, DWORD byteLength);
    std::size_t FillPropertyHelperDataStructure(BYTE* place, WORD type, DWORD value);
    std::size_t FillPropertyHelperDataStructure(BYTE* place, WORD type, const BYTE* bytes, DWORD byteLength);

    static constexpr DWORD countSize = 4;

    alignas(4) BYTE _buffer[BufferSize];  // left as it is until a list is built or read
    std::wstring _lastName;
    std::wstring _lastValue;
    DWORD _controlCode = 0;
    OstraError _error;
    NTEventViewer _eventViewer;
    BYTE* _propertyList = nullptr;
    BYTE* _writePosition = nullptr;
    DWORD _bufferLength = 0;
    DWORD _streamSize = 0;
    std::vector<std::shared_ptr<Property>> _properties;  // shared with copies of this object
    std::wstring _info;                                  // what Info returns

private:
    /// False when the list has no room for it; what no list can hold is reported and left out.
    bool AddParameter(std::wstring_view parameter);
    bool AddText(std::wstring_view name, std::wstring_view value);
    bool AddNumber(std::wstring_view name, DWORD value);
    /// Writes a name, of a property whose value takes `valueSize` bytes with its end mark; false when there is no room.
    bool BeginProperty(std::wstring_view name, std::size_t valueSize);
    /// Makes room for that many bytes of entries; false when the buffer has none.
    bool ResetBufferLength(std::size_t extra);
    /// Writes the entry of a text of that many bytes with its null; its size, or 0 when it would not fit.
    std::size_t WriteText(BYTE* place, WORD type, std::wstring_view text, std::size_t size);
    /// Writes the head of an entry, and zeros behind where its bytes go. Null when it would not fit into the buffer.
    BYTE* BeginEntry(BYTE* place, WORD type, WORD format, std::size_t byteLength);
    void AddDiskNumber(DWORD syntax, std::span<const BYTE> data);
    void AddPartition(std::span<const BYTE> data);
    void AddDescription(const wchar_t* name, const std::wstring& value, CLUSTER_PROPERTY_FORMAT format);
    /// The last status, with the answer in the buffer.
    DWORD Receive(const ObjectKind& kind, const ControlCall& control);
    void Trace(const wchar_t* format, DWORD status) const;
    void Report(const std::wstring& text, bool isDisplayed) const;
};
