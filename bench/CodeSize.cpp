#include "bench/CodeSize.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <link.h>
#include <stdexcept>
#include <string>

namespace
{

using Header = ElfW(Ehdr);
using Section = ElfW(Shdr);

// A record of the file, copied: nothing in it needs to be aligned.
template <class Record> Record At(const std::string& file, size_t offset)
{
    if (file.size() < sizeof(Record) || offset > file.size() - sizeof(Record))
        throw std::runtime_error("a library ends early");
    Record record;
    std::memcpy(&record, file.data() + offset, sizeof(record));
    return record;
}

} // namespace

double CodeSize(const char* path)
{
    std::ifstream stream(path, std::ios::binary);
    const std::string file((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    const auto header = At<Header>(file, 0);
    const auto section = [&](size_t i) { return At<Section>(file, header.e_shoff + i * sizeof(Section)); };
    const Section names = section(header.e_shstrndx);
    for (size_t i = 0; i < header.e_shnum; ++i) {
        const size_t name = names.sh_offset + section(i).sh_name;
        if (name < file.size() && file.compare(name, 6, std::string(".text\0", 6)) == 0)
            return static_cast<double>(section(i).sh_size);
    }
    throw std::runtime_error(std::string(path) + " has no code");
}
