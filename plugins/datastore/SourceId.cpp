#include "plugins/datastore/SourceId.h"

#include "com/Guid.h"

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <string>

GUID NameBasedId(const GUID& space, std::string_view name)
{
    const boost::uuids::name_generator_sha1 generator(boost::uuids::string_generator()(GuidToText(space)));
    GUID id = {};
    static_cast<void>(GuidFromText(L"{" + boost::uuids::to_wstring(generator(std::string(name))) + L"}", id));
    return id;
}

const GUID& TableIdNamespace()
{
    static constexpr GUID kSpace = {0x5C1B8A52, 0x0F4E, 0x4E0B, {0x9D, 0x7C, 0x3B, 0x6A, 0x1E, 0x9F, 0x2C, 0x48}};
    return kSpace;
}

GUID TableId(std::string_view source, std::string_view table)
{
    return NameBasedId(TableIdNamespace(), std::string(source).append("/").append(table));
}
