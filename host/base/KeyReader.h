// Single keys from the terminal, without Enter.
#ifndef ENCMGR_HOST_KEY_READER_H
#define ENCMGR_HOST_KEY_READER_H

namespace host
{

// One at a time. While it lives, the terminal hands over keys at once and doesn't show them; it gets its own ways back
// in every ending but SIGKILL's, and as soon as a signal comes. Ctrl-C stays a signal.
class KeyReader
{
public:
    // Does nothing if the standard input is no terminal, or another job's.
    KeyReader();
    ~KeyReader();
    KeyReader(const KeyReader&) = delete;
    KeyReader& operator=(const KeyReader&) = delete;

    bool IsListening() const { return m_isListening; }

    // A key that was pressed; 0 if there is none. Doesn't wait.
    char Take() const;

private:
    bool m_isListening;
};

} // namespace host

#endif // ENCMGR_HOST_KEY_READER_H
