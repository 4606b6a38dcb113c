#include "framework/archive/FileArchive.h"
#include "framework/archive/MemoryArchive.h"
#include "framework/events/DsEventsDataObject.h"
#include "framework/module/RegisteredClass.h"

namespace {

// The host's services are there without anybody's doing, and so are their classes.
const CRegisteredClass g_fileArchive(kClsidFileArchive, MakeAndQuery<CFileArchive>);
const CRegisteredClass g_memoryArchive(kClsidMemoryArchive, MakeAndQuery<CMemoryArchive>);
const CRegisteredClass g_dsEventsData(kClsidDsEventsData, MakeAndQuery<CDsEventsData>);

} // namespace
