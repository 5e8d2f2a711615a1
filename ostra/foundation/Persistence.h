#pragma once

#include <ostra/export.h>

#include <string>

/// Lets an object hand one text, its persistent form, to a registry or cluster-database key and take it back. Those
/// keys keep it as their value "Persistence". An object belongs to one thread at a time.
class OSTRA_API Persistence {
public:
    Persistence() = default;
    Persistence(const Persistence&) = default;
    Persistence& operator=(const Persistence&) = default;
    virtual ~Persistence();

    std::wstring PersistentData() const { return _persistentData; }

    /// Takes a text read from a key. Derived classes parse it into their state; here a line on standard output says
    /// that they should have, and nothing changes.
    virtual void SetPersistence(const std::wstring& text);

protected:
    std::wstring _persistentData;
};
