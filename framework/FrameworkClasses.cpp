#include "framework/DsEventsDataObject.h"
#include "framework/FileArchive.h"
#include "framework/MemoryArchive.h"
#include "framework/RegisteredClass.h"

namespace {

// The host's services are there without anybody's doing, and so are their classes.
const CRegisteredClass g_fileArchive(kClsidFileArchive, MakeAndQuery<CFileArchive>);
const CRegisteredClass g_memoryArchive(kClsidMemoryArchive, MakeAndQuery<CMemoryArchive>);
const CRegisteredClass g_dsEventsData(kClsidDsEventsData, MakeAndQuery<CDsEventsData>);

} // namespace
