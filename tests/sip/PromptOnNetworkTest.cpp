// A person at the prompt of a telephone on its network.

#include "Terminal.h"

namespace {

TEST(ThePromptOnTheNetwork, ShowsWhatHappensAndKeepsTheLineThatIsBeingTyped)
{
    const fs::path folder = fs::temp_directory_path() / ("deskphone-network-prompt-" + std::to_string(::getpid()));
    fs::create_directory(folder);
    // It calls itself: one line the other.
    Terminal terminal("xterm", folder,
                      "--log 0 --sip 127.0.0.1:0 --account sip:100@office --account sip:200@office --voice silence");
    terminal.until("127.0.0.1:");
    const std::string port = terminal.until("\r\n");
    terminal.until(PROMPT);
    EXPECT_EQ(terminal.answerTo("dial sip:300@office sip:200@127.0.0.1"),
              "dial: \"sip:300@office\" is no line; expected one of the accounts\r\n" + PROMPT);
    terminal.type("dial sip:100@office sip:200@127.0.0.1:" + port.substr(0, port.size() - 2) + '\n');
    terminal.until("call 2 rings on sip:200@office, from sip:100@office");
    terminal.type("answer 2\nhang");
    terminal.until("LMSCreateSession");
    terminal.until("LMSCreateSession");
    terminal.type("up 1\n");
    terminal.until("LMSDestroySession");
    terminal.type("exit\n");
    EXPECT_EQ(terminal.status(), 0);
    fs::remove_all(folder);
}

}  // namespace
