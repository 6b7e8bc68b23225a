// The output as a thing in the file system: may it be written, where is it written, what is left of it at the end.
#ifndef ENCMGR_HOST_OUTPUT_FILE_H
#define ENCMGR_HOST_OUTPUT_FILE_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <sys/stat.h>

namespace host
{

// A plain file is written under a temporary name beside the output, with the output's ending, and gets its own name
// when it is finished: until then a file that stands there stays as it is. An end by SIGKILL leaves the temporary one
// behind.
//
// Devices, pipes, the standard output and sequences of pictures ("%03d") are written directly; so is a file that is
// there where no other can be made, since its folder is closed to writers for instance.
class OutputFile
{
public:
    // "-" is the standard output. Throws HostError if the name isn't UTF-8, which the library needs.
    explicit OutputFile(const std::string& name);
    ~OutputFile(); // removes a temporary file that has not become the output
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // As people know it.
    const std::string& Path() const { return m_path; }

    // Where it is to be written; until Create that is the output itself.
    const std::string& WritePath() const { return m_writePath; }
    const std::wstring& WidePath() const { return m_widePath; }

    // Throws HostError if the output is one of the inputs, can't be written, or exists: then somebody on a terminal is
    // asked if mayAsk, and without an answer of yes it stays.
    void CheckWritable(std::initializer_list<std::string> inputs, bool overwrite, bool mayAsk);

    // Makes the file to write, with the permissions of the one that it is to replace. What is written directly keeps
    // what it holds. Throws HostError if it can't be opened for writing. Devices and pipes are left alone, since
    // opening one may wait for somebody at its other end.
    void Create();

    // When the file is closed: sees to it that it has reached the disk, gives it its name, and looks whether what
    // stands under that name is what was written. Nothing of this where it isn't a plain file. Throws HostError if it
    // is no good file, or can't have its name: somebody else may have made a file of that name by now. A finished file
    // stays then under the name that the error tells.
    void Publish();

    // Bytes written so far, 0 if there is no file or it isn't a plain one.
    uint64_t Size() const;

    // Nothing can be told of a device or a pipe.
    bool IsPlainFile() const;

    // After a failure: what Create has made goes. False if a file is left that has been written to directly.
    bool Discard();

private:
    bool IsTemporary() const { return m_writePath != m_path; }
    void CheckFolder() const;
    bool CreateTemporary();
    void CreateDirectly();
    void TakeName(struct stat& finished);
    [[noreturn]] void Keep(int error);

    std::string m_path;
    std::string m_target; // the path with all symbolic links followed; while there is a temporary file
    std::string m_writePath;
    std::wstring m_widePath; // the same
    bool m_isStandardOutput;
    bool m_wasThere = true;
    bool m_mayReplace = false; // a file that has the name when this one is finished
    bool m_isMade = false;     // by Create
    bool m_isSettled = false;  // nothing is left to take away
    struct stat m_before = {}; // if it was there
    struct stat m_made = {};   // when it was made
};

} // namespace host

#endif // ENCMGR_HOST_OUTPUT_FILE_H
