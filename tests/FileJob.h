// Whole jobs through the front door and the real plug-ins, as a host does them.
#ifndef ENCMGR_TESTS_FILE_JOB_H
#define ENCMGR_TESTS_FILE_JOB_H

#include "encmgr/EncMgr.h"
#include "tests/Pictures.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

constexpr int kRate = 25; // of pictures, where a test doesn't say
constexpr int64_t kPeriod = 10000000 / kRate;

inline KXDWORD Code(const std::string& text)
{
    return KX_FOURCC(text[0], text[1], text[2], text[3]);
}

inline std::string Text(KXDWORD fourCC)
{
    return {reinterpret_cast<const char*>(&fourCC), 4};
}

// The parameters of a job, and of its source, which has the same sizes and rates. Without streams to begin with.
struct JobParam : EncodeParam {
    explicit JobParam(const std::string& format);
    JobParam& Video(const std::string& encoder, int width, int height, double rate = kRate);
    JobParam& Audio(const std::string& encoder, int rate, int channels);
};

struct CloseReport {
    int calls = 0;
    unsigned status = 0, pictures = 0, milliseconds = 0;
};

class FileJobTest : public testing::Test
{
protected:
    static void SetUpTestSuite(); // loads the plug-ins
    static void TearDownTestSuite();
    FileJobTest();
    ~FileJobTest() override;

    std::string Path(const std::string& name) const { return (m_folder / name).string(); } // in the test's own folder
    std::string Bytes(const std::string& name) const;                                      // of a file there

    static std::string Catalogue();                // a line for each format: its code, its video and audio encoders
    static std::wstring Log();                     // its lines since the last call
    static int LogLines(const std::wstring& text); // that hold the text; takes the lines as Log does

    static void* Open(const std::string& path, const JobParam& param);
    // For audio of 16 bits, in blocks of so many bytes, from the start of the file. Whether all were taken.
    static bool WriteSamples(void* job, const std::vector<int16_t>& samples, int rate, int channels, int blockBytes);
    // The picture of that number, at its time. What FCWriteVideoFrame says.
    static int WritePicture(void* job, int width, int height, int number);
    static CloseReport Close(void* job);

    // A whole job of so many pictures, then so many seconds of audio in blocks of 2002 bytes, into the test's folder.
    // The plug-ins log nothing.
    CloseReport Make(const std::string& name, const JobParam& param, int pictures, double seconds = 0);

    std::filesystem::path m_folder;
};

#endif // ENCMGR_TESTS_FILE_JOB_H
