#pragma once

#include "com/Com.h"

struct IWQ_Archive;

/// An object that can store itself into an archive and load itself from one.
struct IWQ_ArchiveObj : public IUnknown {
    /// The class that makes an empty object to load into. The archive creates it through the component table alone, so
    /// the class must be known there.
    virtual HRESULT STDMETHODCALLTYPE GetClassId(CLSID* classId) = 0;
    /// Tells the byte form of the content apart from others; an object loads only what carries its own type.
    virtual HRESULT STDMETHODCALLTYPE GetArchiveType(GUID* type) = 0;
    /// Stores or loads the content, whichever the archive is for. After a failed load the object is unspecified but
    /// usable. A null archive is E_POINTER.
    virtual HRESULT STDMETHODCALLTYPE Serialize(IWQ_Archive* archive) = 0;
};

/// A sequence of values that is either stored or loaded, value by value in one order; nothing in it tells the types.
/// The byte form is in docs/archives.md. The order of the operations is fixed; "unsigned long" has its write before its
/// read.
///
/// Every operation that returns a result gives E_POINTER for a null pointer, E_UNEXPECTED when it does not fit the
/// direction (reading while storing) or the archive is not open, and kArchiveEnd when the archive holds less than it is
/// to give; after a failure the position is unspecified, and whoever reads gives up. Counts and lengths are compared
/// with what is left before memory is asked for. One archive belongs to one thread at a time.
struct IWQ_Archive : public IUnknown {
    /// Slots 1 and 2. Both are false while nothing is open.
    virtual bool STDMETHODCALLTYPE IsLoading() = 0;
    virtual bool STDMETHODCALLTYPE IsStoring() = 0;
    /// Slots 3 and 4. Reading at the end is no failure: read is then less than count.
    virtual HRESULT STDMETHODCALLTYPE ReadBytes(void* buffer, ULONG count, ULONG* read) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteBytes(const void* buffer, ULONG count) = 0;
    /// Slots 5 to 14: numbers of 8, 16, 32 bits, and floating point of 32 and 64 bits.
    virtual HRESULT STDMETHODCALLTYPE ReadUChar(BYTE* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteUChar(BYTE value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadShort(SHORT* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteShort(SHORT value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadLong(LONG* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteLong(LONG value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadFloat(float* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteFloat(float value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadDouble(double* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteDouble(double value) = 0;
    /// Slots 15 and 16. The reader frees the text with SysFreeString. Null is written as the empty text; zeros inside
    /// are kept.
    virtual HRESULT STDMETHODCALLTYPE ReadString(BSTR* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteString(BSTR text) = 0;
    /// Slots 17 and 18.
    virtual HRESULT STDMETHODCALLTYPE WriteULong(ULONG value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadULong(ULONG* value) = 0;
    /// Slots 19 and 20: a value with its type. The reader clears it with VariantClear. DISP_E_BADVARTYPE for arrays,
    /// references and interfaces.
    virtual HRESULT STDMETHODCALLTYPE ReadVariant(VARIANT* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteVariant(const VARIANT* value) = 0;
    /// Slots 21 and 22: an object with its class, and the archive's name, flags and version. Reading makes the object;
    /// it fails when the class is not in the component table (REGDB_E_CLASSNOTREG), and with E_FAIL when a name was put
    /// and the stored one is another, when the stored version is above the one that was put, or when the object takes
    /// more or less than its content. Objects nest at most 32 deep.
    virtual HRESULT STDMETHODCALLTYPE ReadObject(IWQ_ArchiveObj** object) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteObject(IWQ_ArchiveObj* object) = 0;
    /// Slots 23 to 26: the name and the flags that stored objects carry. Flags mean nothing to the archive; while an
    /// object is loaded, GetFlags gives those that it was stored with. Both are empty at first; a null name is an empty
    /// one.
    virtual HRESULT STDMETHODCALLTYPE GetName(BSTR* name) = 0;
    virtual HRESULT STDMETHODCALLTYPE PutName(const wchar_t* name) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFlags(ULONG* flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE PutFlags(ULONG flags) = 0;
    /// Slots 27 and 28: the version that stored objects carry, 0 at first. While an object is loaded, it is the one
    /// that it was stored with.
    virtual HRESULT STDMETHODCALLTYPE GetVersion(SHORT* version) = 0;
    virtual HRESULT STDMETHODCALLTYPE PutVersion(SHORT version) = 0;
    /// Slots 29 and 30.
    virtual HRESULT STDMETHODCALLTYPE ReadGuid(GUID* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteGuid(const GUID* value) = 0;
    /// Slots 31 and 32: bytes read or written so far, and bytes that are left to read (0 while storing). Inside an
    /// object what is left ends with its content. Whoever reads a count compares it with what is left before making
    /// room.
    virtual HRESULT STDMETHODCALLTYPE GetPosition(ULONGLONG* bytes) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRemaining(ULONGLONG* bytes) = 0;
    /// Slots 33 and 34, the same byte form as slots 15 and 16. The reader frees the text with CoTaskMemFree; it ends at
    /// its first zero. Null is written as the empty text.
    virtual HRESULT STDMETHODCALLTYPE ReadWideString(wchar_t** text) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteWideString(const wchar_t* text) = 0;
    /// Slots 35 to 38.
    virtual HRESULT STDMETHODCALLTYPE ReadInt64(LONGLONG* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteInt64(LONGLONG value) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReadUInt64(ULONGLONG* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE WriteUInt64(ULONGLONG value) = 0;
};

/// Second interface of the file archive: which file it is. The archive interface comes from QueryInterface.
struct IWQ_FileArchive : public IUnknown {
    /// One try, without waiting for others. Reads the whole file (at most 256 MiB) and closes it. What was open before
    /// is closed without being written.
    virtual HRESULT STDMETHODCALLTYPE OpenForReading(const wchar_t* path) = 0;
    /// One try. Makes the file when there is none, and keeps everybody out until the archive is closed.
    virtual HRESULT STDMETHODCALLTYPE OpenForWriting(const wchar_t* path) = 0;
    /// Writes what was stored and closes the file. S_FALSE when nothing is open. A file that was opened for writing and
    /// is not closed, or could not be written, is left empty: half a file would be mistaken for a whole one.
    virtual HRESULT STDMETHODCALLTYPE Close() = 0;
};

/// Second interface of the memory archive, which stores from the start. The archive interface comes from
/// QueryInterface.
struct IWQ_MemoryArchive : public IUnknown {
    /// Copies the bytes; the archive loads from now on.
    virtual HRESULT STDMETHODCALLTYPE PutData(const void* data, ULONG count) = 0;
    /// All bytes, stored or put. They belong to the archive and are valid until it is changed or released; null when
    /// there are none.
    virtual HRESULT STDMETHODCALLTYPE GetData(const void** data, ULONG* count) = 0;
    /// 1 when what is to be read next is an object whose record is whole and, when a name was put, carries that name; 0
    /// otherwise.
    virtual HRESULT STDMETHODCALLTYPE IsValid(LONG* valid) = 0;
};

/// The archive holds less than was to be read ("end of file", 38).
inline constexpr HRESULT kArchiveEnd = static_cast<HRESULT>(0x80070026U);

/// Classes of the two components, to be made through CoCreateInstanceZEL.
inline constexpr CLSID kClsidFileArchive = {
    0x81F0554B, 0x4BEB, 0x11D4, {0xB3, 0x59, 0x00, 0x10, 0x4B, 0xC3, 0xB5, 0x31}};
inline constexpr CLSID kClsidMemoryArchive = {
    0x81F0554D, 0x4BEB, 0x11D4, {0xB3, 0x59, 0x00, 0x10, 0x4B, 0xC3, 0xB5, 0x31}};

ZEL_DECLARE_IID(IWQ_Archive, 0xB912A422, 0x739B, 0x4FE9, 0x80, 0x77, 0x27, 0x42, 0x20, 0x98, 0xEA, 0x07);
ZEL_DECLARE_IID(IWQ_ArchiveObj, 0xB3206478, 0xE680, 0x4047, 0xB2, 0x86, 0xBE, 0x68, 0xB5, 0xD4, 0x23, 0xE6);
ZEL_DECLARE_IID(IWQ_FileArchive, 0x570B3D22, 0xC205, 0x4DBF, 0x8B, 0xA5, 0x07, 0xF0, 0xD5, 0x14, 0x9D, 0x0F);
ZEL_DECLARE_IID(IWQ_MemoryArchive, 0xB0E79D56, 0xEDC4, 0x4163, 0xB8, 0xBE, 0x53, 0xA1, 0x37, 0x7D, 0x9B, 0xD9);
