#pragma once

#include <ostra/export.h>
#include <ostra/foundation/ClusterComponent.h>
#include <ostra/foundation/NTEventViewer.h>
#include <ostra/foundation/OstraError.h>
#include <ostra/foundation/Persistence.h>
#include <platform/base/types.h>

#include <iosfwd>
#include <memory>
#include <string>

class CArchive;
class ClusterIPStackKey;

/// The pool of IPv4 addresses of one cluster network: a run of addresses that differ in their last unit only, from
/// which new groups draw theirs, and to which addresses that nothing holds any longer return.
///
/// A caller takes an address with `GetIP`, then `RemoveUsedIP`, then `SaveCurrentState`. To bring addresses back it
/// opens the pool, reports with `AddIPAddressBeingUsed` what the cluster holds, then calls `GetIPAddressesToBeRecycled`
/// and `RecycleIPAddresses`.
///
/// The available and the used addresses are kept under the pool's own key in the cluster database, as values that are
/// written as a whole; only the operations that say so write them. Constructing a pool creates the key where there is
/// none, also when it is only to be read: look for its values first (a ClusterKey) where that must not be. Two objects
/// of one pool see each other's changes only when they load: who shares a pool guards loading, taking and saving with a
/// transaction of the cluster. While the key cannot be opened, operations leave the database alone, and the lists stay
/// as they are. A value that cannot be read, or that has more than 65,001 bytes, counts as empty; each of a pool that
/// was opened and never made is reported to the event log.
///
/// What fails leaves its code as the thread's last error, an operation without an open key 6 (invalid handle).
///
/// Lists map each address to itself and are visited in the order of their texts; those that are returned by pointer or
/// reference are the pool's. A pool serves one thread at a time. Operations that read or write values block as long as
/// the cluster database does; the others do not.
class OSTRA_API IPStack : public ClusterComponent, public Persistence {
public:
    /// Opens the pool of the network with that ID and loads it; a non-zero `resetInitialized` first marks it as not
    /// initialised. Without the cluster or the key the pool is empty.
    IPStack(const std::wstring& networkAdapterID, const std::wstring& clusterName, const std::wstring& subnetMask,
            int resetInitialized);
    /// Makes the pool's addresses from a range, as `CreateIPAddresses` does, and saves both lists in place of those
    /// that were there; a range that is refused leaves them there. Writes nothing else: see `CreateRegistryEntries`,
    /// `SetRangeAndMask` and `SetInitialized`.
    IPStack(const std::wstring& networkAdapterID, const std::wstring& clusterName, const std::wstring& subnetMask,
            const std::wstring& startingAddress, const std::wstring& endingAddress);
    IPStack(const IPStack&) = delete;
    IPStack& operator=(const IPStack&) = delete;
    /// Saves nothing.
    ~IPStack() override;

    /// Always 0.
    int Status(int argument) override;

    /// Hands out the lowest available address of the range and notes it as used; empty when there is none. The address
    /// stays available until `RemoveUsedIP`, and is handed out again before. Saves nothing.
    std::wstring GetIP(int);
    /// Takes the address last handed out from the available ones. Always 1. Saves nothing.
    int RemoveUsedIP();
    /// Writes the available, then the used addresses; neither, after a report, last error 13, when a list could not be
    /// read before and would be lost, or could not be read again: its text has more than 65,001 bytes (some 2,000
    /// addresses) or a null in it.
    void SaveCurrentState();
    int WasUsed(const std::wstring& address) const;

    /// The address last handed out; empty before, and when there was none to give.
    std::wstring CurrentAddress() const { return _currentAddress; }
    /// After opening the start of the range as it was stored; after a creation one below the first address.
    std::wstring StartingAddress() const { return _startingAddress; }
    std::wstring EndingAddress() const { return _endingAddress; }
    std::wstring SubnetMask() const { return _subnetMask; }
    /// What messages call the pool's key.
    std::wstring Path() const { return _path; }
    const std::wstring& NetworkAdapterID() const { return _networkAdapterID; }
    /// Used addresses that may return to the pool; the pool's own list.
    const StringMap* IPAddressesToBeRecycled() const { return &_ipAddressesToBeRecycled; }

    /// Notes an address that the cluster holds right now. How many were noted.
    int AddIPAddressBeingUsed(const std::wstring& address);
    /// Keeps the addresses that the cluster holds from being recycled. Always 0.
    int GetIPAddressesToBeRecycled();
    /// Makes the addresses to be recycled available and unused, and saves when there were any. How many there were,
    /// whether or not they could be saved.
    int RecycleIPAddresses();
    /// Makes the given addresses available; the used ones and the persistent text stay as they are. Always 0.
    int RecycleIPAddresses(const StringArray* addresses);
    /// Makes an address available. The number of available addresses.
    int PutIP(const std::wstring& address);

    /// The persistent text: every available address and a line feed.
    std::wstring Persist();
    /// Adds the addresses of a persistent text, a line each, to the available ones. An empty line ends the list, and
    /// what follows the last line feed does not count.
    void SetPersistence(const std::wstring& text) override;

    // Each of these four reads or writes one value, and answers 0. Reading adds to the lists; what `SaveCurrentState`
    // would refuse is not written.
    int GetAvailableIPAddresses();
    int PutAvailableIPAddresses();
    /// What was read is to be recycled, too, until it is known to be held.
    int GetUsedIPAddresses();
    int PutUsedIPAddresses();

    /// Writes the values of a pool that is empty and not initialised. Tries each of them also without an open key.
    void CreateRegistryEntries();
    /// Writes the range, the mask and the number of addresses created; the object keeps its own.
    void SetRangeAndMask(const std::wstring& start, const std::wstring& end, const std::wstring& mask);
    /// Reads the range's ends; both are empty when what is stored is no range.
    void GetIPRange();
    /// Reads how many addresses the pool was created with.
    int GetNumberOfAddressesCreated();
    /// Reads whether the pool was marked as initialised; a pool that once was stays so for this object.
    int IsInitialized();
    void SetInitialized(int isInitialized);

    /// Replaces the available addresses by those whose last unit runs from that of `start` to that of `end`; the first
    /// three units are those of `start`, and the mask is not used. The number of addresses. A range that runs backwards
    /// creates none and leaves `StartingAddress` as it was. One that could not be loaded again, because its text would
    /// have more than 65,001 bytes (some 2,000 addresses), is refused with a report, last error 87, result 0, and the
    /// pool stays as it was.
    int CreateIPAddresses(const std::wstring& start, const std::wstring& end, const std::wstring& mask);
    /// 1 when the last units are more than 500 apart.
    int RangeTooLarge(const std::wstring& start, const std::wstring& end) const;
    /// The address without its last two units, but with the dot before them. The reference is to a field, which the
    /// next call changes.
    const std::wstring& DefaultIPRangeMask(const std::wstring& address);

    /// Traces the lists. The persistent text as it was last built, in a field.
    const std::wstring& Info();

    /// The archive form is the available addresses as texts, without a count.
    OSTRA_API friend CArchive& operator<<(CArchive& archive, const IPStack& pool);
    /// Reads as many texts as there are available addresses at the beginning, and adds them to these.
    OSTRA_API friend CArchive& operator>>(CArchive& archive, IPStack& pool);
    /// Pools have no text form: these leave pool and stream alone, reading with a line on standard output.
    OSTRA_API friend std::istream& operator>>(std::istream& stream, IPStack& pool);
    OSTRA_API friend std::ostream& operator<<(std::ostream& stream, const IPStack& pool);

private:
    IPStack(const std::wstring& networkAdapterID, const std::wstring& clusterName, const std::wstring& subnetMask);

    bool HasOpenKey() const;
    /// The same; without it the last error says so.
    bool RequireKey() const;
    /// Whether it could be opened; displays the failure else.
    bool OpenKey(const std::wstring& failure);
    /// Of a list that was loaded as an empty one.
    void NoteUnread(const wchar_t* valueName);
    /// Whether a list's text could be loaded again, and would replace nothing unread; reports it else.
    bool CanBeKept(const std::wstring& text) const;
    void Refuse(const std::wstring& failure, DWORD code) const;
    /// False: the range was refused, and nothing is changed.
    bool ReplaceAddresses(const std::wstring& start, const std::wstring& end);
    std::wstring GetNextIPAddress();
    /// Whether `_address` is now the lowest available one above the start of the range.
    bool FindNextAddress();
    int IsValidRange(const std::wstring& start, const std::wstring& end) const;
    int IsValidNumber(const std::wstring& unit) const;

    std::wstring _networkAdapterID;
    StringMap _ipAddressesAvailable;
    StringMap _ipAddressesUsed;
    std::wstring _currentAddress;
    std::wstring _address;  // the candidate of a search, the address of a walk
    StringMap _ipAddressesBeingUsed;
    StringMap _ipAddressesToBeRecycled;
    std::wstring _path;
    int _isInitialized = 0;
    std::unique_ptr<ClusterIPStackKey> _registry;  // null when it could not be made
    int _addressesCreated = 0;                     // as the database has it: any number
    std::wstring _startingAddress;                 // the search begins one above
    std::wstring _endingAddress;
    std::wstring _defaultIPRangeMask;
    std::wstring _persistedText;
    std::wstring _subnetMask;
    NTEventViewer _stackEventViewer;
    OstraError _stackError;

    bool _isUnread = false;  // a list in the database could not be read
};
