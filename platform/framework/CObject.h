#pragma once

#include <platform/base/export.h>

#include <string>

class CArchive;

/// What is known of a class at run time.
struct CRuntimeClass {
    const char* name;
};

/// The base of the framework's and the library's objects. Its operations answer for a class that overrides none of
/// them: it names itself by its nearest base that does, has no archived state, is always valid and has nothing to tell.
///
/// Objects of this folder, unless they say otherwise, may be read by several threads at once, but not while one of them
/// changes one. None of them blocks.
class PLATFORM_API CObject {
public:
    /// Never null; lives as long as the process.
    virtual const CRuntimeClass* GetRuntimeClass() const;
    virtual ~CObject();
    /// Stores the object into the archive or loads it, as the archive's direction says.
    virtual void Serialize(CArchive& archive);
    /// Aborts the process when the object's state breaks its own rules.
    virtual void AssertValid() const;
    /// Appends a description for a person who looks for a fault.
    virtual void Dump(std::wstring& text) const;

protected:
    CObject() = default;
    CObject(const CObject&) = default;
    CObject& operator=(const CObject&) = default;
};
