#include "plugins/raw/OutputFile.h"

#include "encmgr/Log.h"
#include "plugins/support/Text.h"

#include <cerrno>
#include <system_error>

bool OutputFile::Open(const wchar_t* path)
{
    const auto narrow = Utf8Path(path);
    if (!narrow) {
        KXLog(L"wpraw: the path is empty or isn't Unicode text.");
        return false;
    }
    m_path = path;
    m_file.reset(fopen(narrow->c_str(), "wb"));
    if (!m_file)
        return Fail(errno);
    m_canSeek = fseeko(m_file.get(), 0, SEEK_CUR) == 0;
    return true;
}

bool OutputFile::Write(const void* data, size_t size)
{
    if (HasFailed())
        return false;
    return fwrite(data, 1, size, m_file.get()) == size || Fail(errno);
}

bool OutputFile::WriteAtStart(const void* data, size_t size)
{
    if (HasFailed())
        return false;
    if (fseeko(m_file.get(), 0, SEEK_SET) != 0)
        return Fail(errno);
    return Write(data, size) && (fseeko(m_file.get(), 0, SEEK_END) == 0 || Fail(errno));
}

bool OutputFile::Close()
{
    FILE* const file = m_file.release();
    if (file && fclose(file) != 0 && !m_error)
        Fail(errno);
    return !HasFailed();
}

bool OutputFile::Fail(int error)
{
    m_error = error ? error : EIO; // first, since there may be no memory for the text
    KXLogEx(L"wpraw: can't write [%ls]: %s.", m_path.c_str(), std::generic_category().message(m_error).c_str());
    errno = m_error;
    return false;
}

bool OutputFile::HasFailed() const
{
    if (m_error)
        errno = m_error;
    return m_error != 0;
}
