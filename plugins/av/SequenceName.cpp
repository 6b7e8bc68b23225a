#include "plugins/av/SequenceName.h"

#include "plugins/av/Av.h"

namespace
{

size_t NameStart(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? 0 : slash + 1;
}

} // namespace

bool HasNumber(const std::string& path)
{
    return av_filename_number_test(path.c_str() + NameStart(path)) != 0;
}

std::string SequencePath(const std::string& path)
{
    std::string escaped;
    for (const char c : path.substr(0, NameStart(path)))
        escaped.append(c == '%' ? 2 : 1, c);
    return escaped + path.substr(NameStart(path));
}
