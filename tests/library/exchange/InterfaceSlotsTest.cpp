#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "ZEL_Processor/IWQ_DsEventSource.h"
#include "ZEL_Processor/IWQ_Palette.h"
#include "ZEL_Processor/IWQ_ProjectMarker.h"
#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/Project.h"
#include "framework/Archive.h"
#include "framework/DsEventsData.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

// A plug-in or a host that was built with an older header calls by place, not by name: an operation that moves is
// another one for it. New operations go behind the last, or into an interface of their own.

namespace {

constexpr std::size_t kSlotsOfUnknown = 3;

/// The place of an operation in the table of its interface. What the compilers of both targets make of a pointer to a
/// virtual member begins with its offset in the table, some with a mark in the lowest bit.
template <class Operation>
std::size_t SlotOf(Operation operation)
{
    std::size_t offset = 0;
    static_assert(sizeof(operation) >= sizeof(offset));
    std::memcpy(&offset, &operation, sizeof(offset));
    return (offset & ~std::size_t{1}) / sizeof(void*);
}

/// The operations stand one after the other, right behind those of IUnknown.
template <class... Operations>
void ExpectSlots(Operations... operations)
{
    std::size_t slot = kSlotsOfUnknown;
    const auto expectNext = [&](std::size_t found) {
        EXPECT_EQ(found, slot) << "operation " << slot - kSlotsOfUnknown + 1;
        ++slot;
    };
    (expectNext(SlotOf(operations)), ...);
}

} // namespace

TEST(InterfaceSlots, OfUnknown)
{
    using CQuery = HRESULT (STDMETHODCALLTYPE IUnknown::*)(REFIID, void**); // Windows has a template of that name, too
    EXPECT_EQ(SlotOf<CQuery>(&IUnknown::QueryInterface), 0U);
    EXPECT_EQ(SlotOf(&IUnknown::AddRef), 1U);
    EXPECT_EQ(SlotOf(&IUnknown::Release), 2U);
}

TEST(InterfaceSlots, OfTheArchive)
{
    using I = IWQ_Archive;
    ExpectSlots(&I::IsLoading, &I::IsStoring, &I::ReadBytes, &I::WriteBytes, &I::ReadUChar, &I::WriteUChar,
                &I::ReadShort, &I::WriteShort, &I::ReadLong, &I::WriteLong, &I::ReadFloat, &I::WriteFloat,
                &I::ReadDouble, &I::WriteDouble, &I::ReadString, &I::WriteString, &I::WriteULong, &I::ReadULong,
                &I::ReadVariant, &I::WriteVariant, &I::ReadObject, &I::WriteObject, &I::GetName, &I::PutName,
                &I::GetFlags, &I::PutFlags, &I::GetVersion, &I::PutVersion, &I::ReadGuid, &I::WriteGuid,
                &I::GetPosition, &I::GetRemaining, &I::ReadWideString, &I::WriteWideString, &I::ReadInt64,
                &I::WriteInt64, &I::ReadUInt64, &I::WriteUInt64);
}

TEST(InterfaceSlots, OfArchiveObjectsAndComponents)
{
    ExpectSlots(&IWQ_ArchiveObj::GetClassId, &IWQ_ArchiveObj::GetArchiveType, &IWQ_ArchiveObj::Serialize);
    ExpectSlots(&IWQ_FileArchive::OpenForReading, &IWQ_FileArchive::OpenForWriting, &IWQ_FileArchive::Close);
    ExpectSlots(&IWQ_MemoryArchive::PutData, &IWQ_MemoryArchive::GetData, &IWQ_MemoryArchive::IsValid);
}

TEST(InterfaceSlots, OfTheClsidArray)
{
    using I = IWQ_CLSIDArray;
    ExpectSlots(&I::Add, &I::Contains, &I::ContainsVB, &I::Remove, &I::RemoveAll, &I::GetCount, &I::GetAt, &I::CopyTo,
                &I::SetAt);
}

TEST(InterfaceSlots, OfEventsData)
{
    using I = IWQ_DsEventsData;
    ExpectSlots(&I::GetAddedItems, &I::PutAddedItems, &I::GetChangedItems, &I::PutChangedItems, &I::GetRemovedItems,
                &I::PutRemovedItems, &I::GetRenamedItems, &I::PutRenamedItems, &I::GetChangedSources,
                &I::PutChangedSources, &I::GetKind, &I::PutKind, &I::GetAffectedItems, &I::PutAffectedItems,
                &I::GetChangedColumns, &I::PutChangedColumns);
}

TEST(InterfaceSlots, OfThePartsOfEventsData)
{
    ExpectSlots(&IWQ_DsItems::GetCount, &IWQ_DsItems::GetItem, &IWQ_DsItems::Add);
    ExpectSlots(&IWQ_DsList::GetKeyCount, &IWQ_DsList::GetKey, &IWQ_DsList::GetItemsAt, &IWQ_DsList::Find,
                &IWQ_DsList::Put, &IWQ_DsList::AddItem);
    ExpectSlots(&IWQ_DsGuidSet::GetCount, &IWQ_DsGuidSet::GetAt, &IWQ_DsGuidSet::Contains, &IWQ_DsGuidSet::Add);
}

TEST(InterfaceSlots, OfPlugins)
{
    ExpectSlots(&IWQ_ZELProcessorFactory::CreateRequest, &IWQ_ZELProcessorFactory::CreateTask,
                &IWQ_ZELProcessorFactory::CreateResponse);
    ExpectSlots(&IWQ_ZELProcessorRequest::GetXml, &IWQ_ZELProcessorRequest::GetErrorText);
    ExpectSlots(&IWQ_ZELProcessorTask::Init, &IWQ_ZELProcessorTask::ObtainData);
    ExpectSlots(&IWQ_ZELProcessorTaskReadiness::CanProcess);
    ExpectSlots(&IWQ_ZELProcessorResponse::SetTask, &IWQ_ZELProcessorResponse::Save);
}

TEST(InterfaceSlots, OfEventSourcesAndPalettes)
{
    ExpectSlots(&IWQ_DsEventSource::Start, &IWQ_DsEventSource::Stop);
    ExpectSlots(&IWQ_DsEventSink::OnChangedDs, &IWQ_DsEventSink::OnChangedLockResults);
    ExpectSlots(&IWQ_Palette::GetChangedGroups);
}

TEST(InterfaceSlots, OfProjects)
{
    using I = IWQ_Project;
    ExpectSlots(&I::GetErrorMessage, &I::GetFence, &I::PutFence, &I::GetProjectId, &I::GetStorageObjectsCount,
                &I::GetStorageObject, &I::PutStorageObject);
    ExpectSlots(&IWQ_ProjectMarker::GetValue, &IWQ_ProjectMarker::PutValue);
}
