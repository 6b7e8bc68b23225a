// The output as a thing in the file system: may it be written, how large is it, what is to be left of it.
#ifndef ENCMGR_HOST_OUTPUT_FILE_H
#define ENCMGR_HOST_OUTPUT_FILE_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <sys/stat.h>

namespace host
{

class OutputFile
{
public:
    // "-" is the standard output. Throws HostError if the name isn't UTF-8, which the library needs.
    explicit OutputFile(const std::string& name);

    const std::string& Path() const { return m_path; }
    const std::wstring& WidePath() const { return m_widePath; }

    // Throws HostError if the output is one of the inputs, can't be written, or exists: then somebody on a terminal is
    // asked if mayAsk, and without an answer of yes it stays.
    void CheckWritable(std::initializer_list<std::string> inputs, bool overwrite, bool mayAsk);

    // Makes the file if it isn't there; what it holds stays. Throws HostError if it can't be opened for writing.
    // Devices and pipes are left alone, since opening one may wait for somebody at its other end.
    void Create() const;

    // Bytes, 0 if there is no file or it isn't a plain one.
    uint64_t Size() const;

    // Nothing can be told of a device or a pipe.
    bool IsPlainFile() const;

    // After a failure: a plain file that wasn't there before goes. False if one is left that has been written to.
    bool RemoveIfNew();

private:
    void CheckFolder() const;

    std::string m_path;
    std::wstring m_widePath;
    bool m_isStandardOutput;
    bool m_wasThere = true;
    struct stat m_before = {}; // if it was there
};

} // namespace host

#endif // ENCMGR_HOST_OUTPUT_FILE_H
