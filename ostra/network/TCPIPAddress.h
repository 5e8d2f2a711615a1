#pragma once

#include <ostra/export.h>
#include <platform/framework/CObject.h>

#include <iosfwd>
#include <string>

class CArchive;

/// One IPv4 address as dotted-decimal text, and the cluster network (adapter) that it belongs to. The parts between
/// dots are the address's units, numbered from 1 at the left. Every check works on the text as it stands; none of them
/// reports anything or changes the record. Results are 1 (true) and 0. A plain value: copies are deep, nothing blocks,
/// and threads may read one record at the same time.
class OSTRA_API TCPIPAddress : public CObject {
public:
    /// The address "0.0.0.0", of no adapter.
    TCPIPAddress() = default;
    /// The subnet mask is not kept. The adapter's name is its network's.
    TCPIPAddress(const std::wstring& address, const std::wstring& subnetMask, const std::wstring& adapterAddress,
                 const std::wstring& adapterName);
    TCPIPAddress(const TCPIPAddress& other) = default;
    TCPIPAddress& operator=(const TCPIPAddress& other) = default;
    ~TCPIPAddress() override = default;

    std::wstring Address() const { return _address; }
    std::wstring AdapterName() const { return _adapterName; }

    /// Nothing but digits and dots.
    int ContainsOnlyLegalCharacters() const;
    /// At most three dots, and no empty unit before a dot. Fewer units and a dot at the end will do.
    int IsValidSequence() const;
    /// The number that unit 1, 2 or 3 (each ends with a dot) or unit 4 (what follows the last dot) begins with; 0 for a
    /// unit that is missing or no number, and for any other `n`. A number that no int holds is the nearest that fits.
    int GetOctetInInt(int n) const;
    /// Legal characters in a valid sequence, and no unit above 255. Units that are missing count as 0.
    int IsValid() const;
    /// Whether one octet may have this value under its octet of the mask. A mask other than 0, 64, 128, 192, 224, 240,
    /// 248 and 252 allows none. Uses nothing of the record; traces to standard output.
    int IsValidAddress(unsigned int value, unsigned int mask) const;

    /// Equal texts: leading zeros count.
    int operator==(const TCPIPAddress& other) const;
    int operator!=(const TCPIPAddress& other) const;
    /// By length of the text first, then in the order of its characters.
    int operator>(const TCPIPAddress& other) const;
    int operator<(const TCPIPAddress& other) const;

    /// Writes the record to standard output.
    void Info() const;

    /// The text form is the address alone, in UTF-8; reading takes one word and keeps the adapter.
    OSTRA_API friend std::istream& operator>>(std::istream& stream, TCPIPAddress& address);
    OSTRA_API friend std::ostream& operator<<(std::ostream& stream, const TCPIPAddress& address);
    /// The archive form is three texts: address, adapter address, adapter name.
    OSTRA_API friend CArchive& operator>>(CArchive& archive, TCPIPAddress& address);
    OSTRA_API friend CArchive& operator<<(CArchive& archive, const TCPIPAddress& address);

private:
    std::wstring _address = L"0.0.0.0";
    std::wstring _adapterAddress;
    std::wstring _adapterName;
};
