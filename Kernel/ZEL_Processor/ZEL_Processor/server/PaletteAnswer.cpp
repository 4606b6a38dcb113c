#include "PaletteAnswer.h"

#include "ZEL_Processor/IWQ_CLSIDArray.h"
#include "ZEL_Processor/IWQ_ProjectMarker.h"
#include "ZEL_Processor/Project.h"
#include "com/ComError.h"
#include "com/ComPtr.h"

namespace {

constexpr const wchar_t* kProjectMarker = L"ProjectNeedUpdatePalette";

std::vector<GUID> IdsOf(IWQ_CLSIDArray& groups)
{
    std::vector<GUID> ids;
    ULONGLONG count = 0;
    ThrowIfFailed(groups.GetCount(&count));
    for (ULONGLONG index = 0; index < count; ++index) {
        GUID id{};
        ThrowIfFailed(groups.GetAt(index, &id));
        ids.push_back(id);
    }
    return ids;
}

} // namespace

SPaletteAnswer SPaletteAnswer::Ask(IWQ_Palette& palette, IWQ_DsEventsData* event, IWQ_Project* project)
{
    SPaletteAnswer answer;
    VARIANT_BOOL changed = VARIANT_FALSE;
    CComPtr<IWQ_CLSIDArray> groups;
    ThrowIfFailed(palette.GetChangedGroups(event, project, &changed, groups.Put(), &answer.needsUpdate));
    if (changed != VARIANT_FALSE && groups)
        answer.groups = IdsOf(*groups);
    return answer;
}

void MarkProject(IWQ_Project* project, VARIANT_BOOL needsUpdate)
{
    if (!project)
        throw CComError(E_POINTER);
    CComPtr<IWQ_ArchiveObj> stored;
    ThrowIfFailed(project->GetStorageObject(kProjectMarker, stored.Put()));
    if (const auto marker = stored ? stored.QueryTo<IWQ_ProjectMarker>() : CComPtr<IWQ_ProjectMarker>()) {
        VARIANT_BOOL isSet = VARIANT_FALSE;
        ThrowIfFailed(marker->GetValue(&isSet));
        if (isSet != VARIANT_FALSE)
            return;
    }
    CComPtr<IWQ_ProjectMarker> marker;
    ThrowIfFailed(CreateWQ_ProjectMarker(ComIid<IWQ_ProjectMarker>(), marker.PutVoid()));
    ThrowIfFailed(marker->PutValue(needsUpdate));
    ThrowIfFailed(project->PutStorageObject(kProjectMarker, marker.QueryTo<IWQ_ArchiveObj>().Get()));
}
