#include "host/sources/Source.h"

#include "host/sources/MediaInput.h"
#include "host/sources/TestCard.h"

namespace host
{

std::unique_ptr<Source> OpenSource(const std::string& name, const Wanted& wanted, Messages& messages)
{
    if (name.starts_with("testcard:"))
        return std::make_unique<TestCard>(ParseTestCard(name), wanted);
    return std::make_unique<MediaInput>(name, wanted, messages);
}

std::string ShownName(const std::string& name)
{
    return name == "-" ? "the standard input" : name;
}

} // namespace host
