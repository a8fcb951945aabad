// Runs the built hdb in a scratch folder of its own, with a chosen
// environment and standard input, and collects what it printed and how it
// ended. Also runs it on a pseudo terminal, as a person at a keyboard would.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace hdbtooltest {

struct Outcome {
    int exitStatus = -1; // -1 when the program did not exit normally
    std::string out;
    std::string err;
};

class ProgramRunner {
public:
    ProgramRunner();
    ~ProgramRunner();
    ProgramRunner(const ProgramRunner&) = delete;
    ProgramRunner& operator=(const ProgramRunner&) = delete;

    // Variables set (or, with an empty optional, removed) for every run;
    // LANG starts as C.UTF-8 and LC_ALL / LC_MESSAGES removed, so that runs
    // are English unless a test says otherwise.
    std::map<std::string, std::optional<std::string>> environment;

    const std::filesystem::path& Folder() const { return m_folder; }

    Outcome Run(const std::vector<std::string>& arguments, const std::string& input = "") const;
    // The program on a pseudo terminal: `keys` are typed one piece at a time
    // with a pause between pieces; everything the terminal showed.
    Outcome RunOnTerminal(const std::vector<std::string>& arguments,
                          const std::vector<std::string>& keys) const;

private:
    std::vector<std::string> Environment() const;

    std::filesystem::path m_folder;
};

} // namespace hdbtooltest
