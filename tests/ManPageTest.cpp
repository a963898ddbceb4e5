// The man pages describe what the programs offer: every option and command that
// a program's own help lists is in its page's source (docs/man/), so that a new
// option cannot ship undocumented.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/ProgramCommand.h"

namespace {

const std::string kBinaryDir = BRISK_BINARY_DIR;
const std::string kManDir = BRISK_SOURCE_DIR "/docs/man";

// What `program args...` prints on standard output.
std::string output(const std::string& program, const std::vector<std::string>& args) {
    std::vector<std::string> words{program};
    words.insert(words.end(), args.begin(), args.end());
    const ProgramCommand command(words);
    int pipes[2];
    if (pipe(pipes) != 0) {
        return "";
    }
    pid_t pid = fork();
    if (pid == 0) {
        dup2(pipes[1], STDOUT_FILENO);
        close(pipes[0]);
        close(pipes[1]);
        command.exec();
        _exit(127);
    }
    close(pipes[1]);
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = read(pipes[0], buffer, sizeof(buffer))) > 0;) {
        text.append(buffer, static_cast<size_t>(n));
    }
    close(pipes[0]);
    waitpid(pid, nullptr, 0);
    return text;
}

std::set<std::string> matches(const std::string& text, const std::regex& pattern, int group) {
    std::set<std::string> found;
    for (std::sregex_iterator it(text.begin(), text.end(), pattern), end; it != end; ++it) {
        found.insert((*it)[group]);
    }
    return found;
}

// The pages' sources, as (program, path).
std::vector<std::pair<std::string, std::string>> pages() {
    std::vector<std::pair<std::string, std::string>> out;
    if (DIR* dir = opendir(kManDir.c_str())) {
        while (dirent* entry = readdir(dir)) {
            std::smatch name;
            std::string file = entry->d_name;
            if (std::regex_match(file, name, std::regex(R"((.+)\.[1-8]\.scd)"))) {
                out.emplace_back(name[1], kManDir + "/" + file);
            }
        }
        closedir(dir);
    }
    return out;
}

TEST(ManPages, DescribeEveryOptionAndCommandTheProgramsList) {
    const std::regex option(R"((^|[\s\[])(--[a-z][a-z-]*))");
    const std::regex commands(R"(commands:\n((  \S.*\n)+))");
    const std::regex command(R"(^  ([a-z]+) )", std::regex::multiline);
    size_t checked = 0;
    for (const auto& [program, path] : pages()) {
        const std::string binary = kBinaryDir + "/tools/" + program + "/" + program;
        if (access(binary.c_str(), X_OK) != 0) {
            continue;
        }
        std::ifstream in(path);
        std::stringstream page;
        page << in.rdbuf();
        const std::string help = output(binary, {"--help"});
        ASSERT_FALSE(help.empty()) << program << " --help printed nothing";
        std::set<std::string> listed = matches(help, option, 2);
        std::smatch block;
        if (std::regex_search(help, block, commands)) {
            for (const std::string& name : matches(block[1], command, 1)) {
                EXPECT_NE(page.str().find("*" + name + "*"), std::string::npos)
                    << path << " does not describe the command '" << name << "'";
                const std::string commandHelp = output(binary, {name, "--help"});
                const std::set<std::string> more = matches(commandHelp, option, 2);
                listed.insert(more.begin(), more.end());
            }
        }
        for (const std::string& name : listed) {
            EXPECT_NE(page.str().find("*" + name + "*"), std::string::npos)
                << program << " lists " << name << " but " << path << " does not describe it";
        }
        ++checked;
    }
    if (checked == 0) {
        GTEST_SKIP() << "no program with a man page is built";
    }
}

}  // namespace
