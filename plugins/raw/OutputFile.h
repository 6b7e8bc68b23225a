// A file being written, with one memory for failure: the first one is logged, and from then on nothing is written, so
// that a file never goes on behind a hole.
#ifndef ENCMGR_PLUGINS_OUTPUT_FILE_H
#define ENCMGR_PLUGINS_OUTPUT_FILE_H

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

class OutputFile
{
public:
    // Creates or empties the file. False, with a log line, if that can't be done.
    bool Open(const wchar_t* path);

    // Appends. A failure may show only at a later call, at Close in the end, since small pieces are gathered. From then
    // on every call fails, with the first one's errno.
    bool Write(const void* data, size_t size);
    // Overwrites the start of the file and goes back to its end.
    bool WriteAtStart(const void* data, size_t size);
    // Pipes and terminals can't go back.
    bool CanSeek() const { return m_canSeek; }

    // Whether everything has reached the file. The file is closed in any case.
    bool Close();

private:
    struct FileClose {
        void operator()(FILE* file) const { fclose(file); }
    };

    bool Fail(int error);
    bool HasFailed() const;

    std::unique_ptr<FILE, FileClose> m_file;
    std::wstring m_path;
    bool m_canSeek = false;
    int m_error = 0; // errno of the first failure
};

#endif // ENCMGR_PLUGINS_OUTPUT_FILE_H
