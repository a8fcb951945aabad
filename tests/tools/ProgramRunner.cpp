#include "ProgramRunner.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <random>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace hdbtooltest {

namespace {

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (auto& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

int ExitStatusOf(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

ProgramRunner::ProgramRunner() {
    std::random_device random;
    m_folder = std::filesystem::temp_directory_path() /
               ("hdb-tool-" + std::to_string(::getpid()) + "-" + std::to_string(random()));
    std::filesystem::create_directories(m_folder);
    environment["LANG"] = "C.UTF-8";
    environment["LC_ALL"] = std::nullopt;
    environment["LC_MESSAGES"] = std::nullopt;
    environment["HDB_PASSWORD"] = std::nullopt;
    // No settings of the person running the tests reach the program.
    environment["HALDENDB_SETTINGS"] = (m_folder / "no-settings.ini").string();
    environment["HALDENDB_DATABASE_TYPE"] = std::nullopt;
    environment["HALDENDB_PROVIDER"] = std::nullopt;
    environment["HALDENDB_CONNECTION_TIMEOUT"] = std::nullopt;
}

ProgramRunner::~ProgramRunner() {
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

std::vector<std::string> ProgramRunner::Environment() const {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (environment.count(text.substr(0, text.find('='))) == 0)
            result.push_back(text);
    }
    for (const auto& [name, value] : environment)
        if (value)
            result.push_back(name + "=" + *value);
    return result;
}

Outcome ProgramRunner::Run(const std::vector<std::string>& arguments,
                           const std::string& input) const {
    std::vector<std::string> argv{HDB_PROGRAM};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    std::vector<std::string> env = Environment();
    std::vector<char*> argp = Pointers(argv);
    std::vector<char*> envp = Pointers(env);

    int in[2], out[2], err[2];
    if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0)
        return {};
    const pid_t child = ::fork();
    if (child == 0) {
        ::dup2(in[0], STDIN_FILENO);
        ::dup2(out[1], STDOUT_FILENO);
        ::dup2(err[1], STDERR_FILENO);
        if (::chdir(m_folder.c_str()) != 0)
            ::_exit(127);
        ::execve(argp[0], argp.data(), envp.data());
        ::_exit(127);
    }
    ::close(in[0]);
    ::close(out[1]);
    ::close(err[1]);

    // Feed the input and drain both outputs together, so that no pipe fills.
    ::signal(SIGPIPE, SIG_IGN);
    size_t written = 0;
    if (input.empty())
        ::close(in[1]);
    Outcome outcome;
    pollfd fds[3] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}, {in[1], POLLOUT, 0}};
    int open = 2;
    nfds_t count = input.empty() ? 2 : 3;
    while (open > 0 || count == 3) {
        if (::poll(fds, count, 60000) <= 0)
            break;
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || (fds[i].revents & (POLLIN | POLLHUP)) == 0)
                continue;
            char buffer[4096];
            const ssize_t got = ::read(fds[i].fd, buffer, sizeof(buffer));
            if (got <= 0) {
                ::close(fds[i].fd);
                fds[i].fd = -1;
                --open;
            } else {
                (i == 0 ? outcome.out : outcome.err).append(buffer, static_cast<size_t>(got));
            }
        }
        if (count == 3 && (fds[2].revents & (POLLOUT | POLLERR | POLLHUP)) != 0) {
            const ssize_t wrote = ::write(in[1], input.data() + written, input.size() - written);
            if (wrote > 0)
                written += static_cast<size_t>(wrote);
            if (wrote <= 0 || written == input.size()) {
                ::close(in[1]);
                count = 2;
            }
        }
    }
    outcome.exitStatus = ExitStatusOf(child);
    return outcome;
}

Outcome ProgramRunner::RunOnTerminal(const std::vector<std::string>& arguments,
                                     const std::vector<std::string>& keys) const {
    std::vector<std::string> argv{HDB_PROGRAM};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    std::vector<std::string> env = Environment();
    std::vector<char*> argp = Pointers(argv);
    std::vector<char*> envp = Pointers(env);

    int terminal = -1;
    const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child < 0)
        return {};
    if (child == 0) {
        if (::chdir(m_folder.c_str()) != 0)
            ::_exit(127);
        ::execve(argp[0], argp.data(), envp.data());
        ::_exit(127);
    }
    Outcome outcome;
    const auto drain = [&](int milliseconds) {
        pollfd fd{terminal, POLLIN, 0};
        while (::poll(&fd, 1, milliseconds) > 0) {
            char buffer[4096];
            const ssize_t got = ::read(terminal, buffer, sizeof(buffer));
            if (got <= 0)
                return false;
            outcome.out.append(buffer, static_cast<size_t>(got));
        }
        return true;
    };
    // The program sets its terminal mode before it shows the prompt.
    for (int wait = 0; wait < 100 && outcome.out.find("=> ") == std::string::npos; ++wait)
        if (!drain(100))
            break;
    for (const std::string& piece : keys) {
        if (::write(terminal, piece.data(), piece.size()) < 0)
            break;
        if (!drain(200))
            break;
    }
    // Up to thirty seconds for the program to end by itself.
    for (int wait = 0; wait < 60; ++wait) {
        const bool open = drain(500);
        int status = 0;
        if (::waitpid(child, &status, WNOHANG) == child) {
            drain(0);
            ::close(terminal);
            outcome.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            return outcome;
        }
        if (!open) {
            // The terminal closed: the program is ending.
            ::close(terminal);
            outcome.exitStatus = ExitStatusOf(child);
            return outcome;
        }
    }
    ::close(terminal);
    ::kill(child, SIGKILL);
    ExitStatusOf(child);
    return outcome;
}

} // namespace hdbtooltest
