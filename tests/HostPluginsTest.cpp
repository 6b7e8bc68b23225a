// Plug-ins that break the rules: encmgr names them, whatever they do.
#include "tests/HostRun.h"

namespace
{

class HostPluginsTest : public HostTest
{
protected:
    // A folder "<fault>/PlugIns" with the plug-in that has this fault.
    void Install(const std::string& fault) const
    {
        const std::filesystem::path folder = m_folder / fault / "PlugIns";
        std::filesystem::create_directories(folder);
        std::filesystem::copy_file(ENCMGR_BAD_PLUGIN, folder / ("wp" + fault + ".dylib"));
    }
};

} // namespace

TEST_F(HostPluginsTest, TheOneThatEndsTheProgramIsNamed)
{
    const struct {
        const char* fault;
        const char* command;
        int code;
        const char* said;
    } cases[] = {
        {"exit-in-scan", "list", 10, "has ended the program while it was loaded"},
        {"_exit-in-scan", "list", 10, "has ended the program while it was loaded"},
        {"crash-in-scan", "list; (exit $?)", 128 + 6, "(SIGABRT) while it was loaded"},
        {"hang-in-scan", "list", 130, "interrupted while the plug-in"},
        {"exit-in-slot", "encode testcard:seconds=1,size=160x90 -o a.bad", 10, "has ended the program"},
        {"good", "encode testcard:seconds=1,size=160x90 -o a.bad", 0, "a.bad: 25 pictures"},
    };
    for (const auto& [fault, command, code, said] : cases) {
        Install(fault);
        const bool hangs = std::string(fault) == "hang-in-scan";
        EXPECT_EQ(Run(std::string("--plugins ") + fault + " " + command,
                      hangs ? "timeout --preserve-status -s INT 1" : "true;"),
                  code)
            << fault << m_said;
        EXPECT_TRUE(Said(said)) << m_said;
        EXPECT_EQ(Said("wp" + std::string(fault) + ".dylib"), code != 0) << m_said;
    }
}

TEST_F(HostPluginsTest, TextsThatFillTheirFieldsEndInThem)
{
    Install("full-texts");
    ASSERT_EQ(Run("--plugins full-texts list"), 0);
    EXPECT_EQ(m_said, "BAD   " + std::string(63, 'x') + "  " + std::string(127, 'x') + "\n    video  BADV  " +
                          std::string(63, 'x') + "  " + std::string(127, 'x') + "\n");
}
