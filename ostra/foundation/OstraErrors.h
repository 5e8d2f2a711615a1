#pragma once

#include <ostra/export.h>
#include <platform/base/types.h>
#include <platform/framework/CPtrList.h>

#include <string>

class CStatusBarCtrl;
class CWnd;
class OstraError;

/// Error records in the order in which they were recorded; the last one is the last error. The records belong to
/// whoever added them and must outlive their place in the list, which belongs to one thread at a time.
class OSTRA_API OstraErrors : public CPtrList {
public:
    OstraErrors();
    explicit OstraErrors(const std::wstring& name);
    OstraErrors(const OstraErrors&) = delete;
    ~OstraErrors() override = default;

    /// Copies the name only.
    OstraErrors* operator=(const OstraErrors& other);
    /// The same; null changes nothing.
    OstraErrors* operator=(const OstraErrors* other);

    /// Appends a record; null is ignored. Always 0.
    int Add(OstraError* error);
    /// Empties the list; the records stay.
    using CPtrList::RemoveAll;

    /// 0 when there is none.
    LONG GetLastErrorCode() const;
    /// Empty when there is none.
    std::wstring GetLastErrorString() const;

    /// The first record with that code, or null. Each record visited writes its code and the code searched for to
    /// standard output.
    OstraError* Find(LONG errorCode) const;

    std::wstring Name() const { return _name; }
    int NumberOfComponents() const { return GetCount(); }
    /// Lists the records on standard output. The result is always empty.
    std::wstring Info() const;

    /// Gives the window a status bar, which is gone when the call returns: no lasting effect. Null is ignored.
    void EnableStatusBarWriting(CWnd* window, int enable);
    /// Writes a fixed mark into the control's part 0; null is ignored.
    void EnableStatusBarWriting(CStatusBarCtrl* control, int enable);

private:
    const OstraError* Last() const;

    std::wstring _name;
    std::wstring _info;  // what Info returns
};
