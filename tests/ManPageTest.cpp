// The man pages describe what the programs offer: every option and command that
// a program's own help lists is in its page's source (docs/man/), so that a new
// option cannot ship undocumented.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <fstream>
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

// The options a help text names: "--word" after a blank, a '[' or a line start.
std::set<std::string> optionsIn(const std::string& text) {
    std::set<std::string> found;
    for (size_t at = text.find("--"); at != std::string::npos; at = text.find("--", at + 2)) {
        const bool starts =
            at == 0 || text[at - 1] == ' ' || text[at - 1] == '\n' || text[at - 1] == '[';
        const size_t end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at + 2);
        if (starts && end != at + 2 && islower(static_cast<unsigned char>(text[at + 2]))) {
            found.insert(text.substr(at, end - at));
        }
    }
    return found;
}

// The first words of the indented lines under "commands:", up to a blank line.
std::vector<std::string> commandsIn(const std::string& help) {
    std::vector<std::string> found;
    std::istringstream lines(help);
    bool inBlock = false;
    for (std::string line; std::getline(lines, line);) {
        if (line == "commands:") {
            inBlock = true;
        } else if (line.empty()) {
            inBlock = false;
        } else if (inBlock && line.compare(0, 2, "  ") == 0) {
            std::istringstream words(line);
            std::string word;
            words >> word;
            found.push_back(word);
        }
    }
    return found;
}

// The pages' sources, docs/man/<program>.<section>.scd, as (program, path).
std::vector<std::pair<std::string, std::string>> pages() {
    std::vector<std::pair<std::string, std::string>> out;
    const std::string suffix = ".scd";
    if (DIR* dir = opendir(kManDir.c_str())) {
        while (dirent* entry = readdir(dir)) {
            const std::string file = entry->d_name;
            const size_t dot = file.size() - suffix.size() - 2;
            if (file.size() > suffix.size() + 2 &&
                file.compare(dot + 2, suffix.size(), suffix) == 0 && file[dot] == '.' &&
                isdigit(static_cast<unsigned char>(file[dot + 1]))) {
                out.emplace_back(file.substr(0, dot), kManDir + "/" + file);
            }
        }
        closedir(dir);
    }
    return out;
}

TEST(ManPages, DescribeEveryOptionAndCommandTheProgramsList) {
    size_t checked = 0;
    for (const auto& [program, path] : pages()) {
        const std::string binary = kBinaryDir + "/tools/" + program + "/" + program;
        if (access(binary.c_str(), X_OK) != 0) {
            continue;
        }
        std::ifstream in(path);
        std::stringstream source;
        source << in.rdbuf();
        const std::string page = source.str();
        const std::string help = output(binary, {"--help"});
        ASSERT_FALSE(help.empty()) << program << " --help printed nothing";
        std::set<std::string> listed = optionsIn(help);
        for (const std::string& command : commandsIn(help)) {
            EXPECT_NE(page.find("*" + command + "*"), std::string::npos)
                << path << " does not describe the command '" << command << "'";
            const std::set<std::string> more = optionsIn(output(binary, {command, "--help"}));
            listed.insert(more.begin(), more.end());
        }
        for (const std::string& option : listed) {
            EXPECT_NE(page.find("*" + option + "*"), std::string::npos)
                << program << " lists " << option << " but " << path << " does not describe it";
        }
        ++checked;
    }
    if (checked == 0) {
        GTEST_SKIP() << "no program with a man page is built";
    }
}

}  // namespace
