#include "host/validate/ElfFile.h"

#include "host/base/ExitCode.h"
#include "host/base/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <elf.h>
#include <fstream>
#include <iterator>
#include <link.h>

namespace host
{

namespace
{

std::string ReadAll(const std::string& file)
{
    errno = 0;
    std::ifstream stream(file, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    if (!stream)
        throw HostError(kExitInput, Format("it can't be read: %s", std::strerror(errno)));
    return bytes;
}

// The record at an offset; all 0 where it doesn't lie within the bytes.
template <class Record> Record At(const std::string& bytes, uint64_t offset)
{
    Record record = {};
    if (offset <= bytes.size() && bytes.size() - offset >= sizeof(record))
        std::memcpy(&record, bytes.data() + offset, sizeof(record));
    return record;
}

bool Holds(const std::string& bytes, uint64_t offset, uint64_t size)
{
    return offset <= bytes.size() && size <= bytes.size() - offset;
}

template <class Header, class Segment, class Section> bool IsComplete(const std::string& bytes)
{
    const auto header = At<Header>(bytes, 0);
    if (!Holds(bytes, 0, sizeof(header)) || header.e_phnum == 0 ||
        !Holds(bytes, header.e_phoff, uint64_t{header.e_phnum} * sizeof(Segment)) ||
        !Holds(bytes, header.e_shoff, uint64_t{header.e_shnum} * sizeof(Section)))
        return false;
    for (uint64_t i = 0; i < header.e_phnum; ++i) {
        const auto segment = At<Segment>(bytes, header.e_phoff + i * sizeof(Segment));
        if (!Holds(bytes, segment.p_offset, segment.p_filesz))
            return false;
    }
    return true;
}

ElfHeader HeaderOf(const std::string& bytes)
{
    ElfHeader header;
    header.isElf = bytes.size() > EI_DATA && std::memcmp(bytes.data(), ELFMAG, SELFMAG) == 0;
    if (!header.isElf)
        return header;
    header.bits = bytes[EI_CLASS] == ELFCLASS64 ? 64 : 32;
    header.isLittleEndian = bytes[EI_DATA] == ELFDATA2LSB;
    // Type and machine lie at the same place for both word sizes. In the other byte order only they are turned.
    const auto short32 = At<Elf32_Ehdr>(bytes, 0);
    const bool isOwnOrder = header.isLittleEndian == (__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__);
    const auto turned = [isOwnOrder](unsigned value) {
        return static_cast<int>(isOwnOrder ? value : (value >> 8 | value << 8) & 0xFFFF);
    };
    header.machine = turned(short32.e_machine);
    header.isSharedObject = turned(short32.e_type) == ET_DYN;
    header.isComplete = !isOwnOrder || (header.bits == 64 ? IsComplete<Elf64_Ehdr, Elf64_Phdr, Elf64_Shdr>(bytes)
                                                          : IsComplete<Elf32_Ehdr, Elf32_Phdr, Elf32_Shdr>(bytes));
    return header;
}

} // namespace

ElfHeader ReadElfHeader(const std::string& file)
{
    return HeaderOf(ReadAll(file));
}

ElfHeader OwnHeader()
{
    return ReadElfHeader("/proc/self/exe");
}

std::string MachineName(int machine)
{
    switch (machine) {
    case EM_386:
        return "x86";
    case EM_X86_64:
        return "x86-64";
    case EM_ARM:
        return "ARM";
    case EM_AARCH64:
        return "AArch64";
    case EM_RISCV:
        return "RISC-V";
    case EM_PPC64:
        return "PowerPC 64";
    default:
        return Format("machine %d", machine);
    }
}

std::vector<ExportedSymbol> ExportedSymbols(const std::string& file)
{
    const std::string bytes = ReadAll(file);
    const auto header = At<ElfW(Ehdr)>(bytes, 0);
    std::vector<ExportedSymbol> symbols;
    for (uint64_t i = 0; i < header.e_shnum; ++i) {
        const auto section = At<ElfW(Shdr)>(bytes, header.e_shoff + i * sizeof(ElfW(Shdr)));
        if (section.sh_type != SHT_DYNSYM)
            continue;
        const auto names = At<ElfW(Shdr)>(bytes, header.e_shoff + section.sh_link * sizeof(ElfW(Shdr)));
        const uint64_t count = std::min<uint64_t>(section.sh_size, bytes.size()) / sizeof(ElfW(Sym));
        for (uint64_t at = 0; at < count; ++at) {
            const auto symbol = At<ElfW(Sym)>(bytes, section.sh_offset + at * sizeof(ElfW(Sym)));
            const uint64_t name = names.sh_offset + symbol.st_name;
            const int visibility = symbol.st_other & 3;
            if (symbol.st_shndx == SHN_UNDEF || symbol.st_shndx == SHN_ABS || name >= bytes.size() ||
                (symbol.st_info >> 4) == STB_LOCAL || visibility == STV_HIDDEN || visibility == STV_INTERNAL)
                continue;
            symbols.push_back({bytes.c_str() + name, (symbol.st_info >> 4) == STB_GLOBAL});
        }
    }
    return symbols;
}

} // namespace host
