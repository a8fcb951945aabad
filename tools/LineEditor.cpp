#include "LineEditor.h"

#include "StringConversion.h"

#include <cstdio>
#include <cwchar>
#include <iostream>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace {

// Puts the terminal into character mode for its life.
class RawMode {
public:
    explicit RawMode(int fd) : m_fd(fd) {
        m_active = ::tcgetattr(fd, &m_saved) == 0;
        if (!m_active)
            return;
        termios raw = m_saved;
        raw.c_lflag &= ~(ICANON | ECHO | ISIG | IEXTEN);
        raw.c_iflag &= ~(IXON | ICRNL);
        raw.c_cc[VMIN] = 1;
        raw.c_cc[VTIME] = 0;
        m_active = ::tcsetattr(fd, TCSADRAIN, &raw) == 0;
    }
    ~RawMode() {
        if (m_active)
            ::tcsetattr(m_fd, TCSADRAIN, &m_saved);
    }
    bool Active() const { return m_active; }

private:
    int m_fd;
    termios m_saved{};
    bool m_active = false;
};

std::u32string Decode(const std::string& utf8) {
    const std::wstring wide = hdbtext::WideFromUtf8(utf8);
    return std::u32string(wide.begin(), wide.end());
}

std::string Encode(const std::u32string& text) {
    return hdbtext::Utf8FromWide(std::wstring(text.begin(), text.end()));
}

// Terminal columns of text[from, to).
size_t Width(const std::u32string& text, size_t from, size_t to) {
    size_t width = 0;
    for (size_t i = from; i < to && i < text.size(); ++i) {
        const int w = ::wcwidth(static_cast<wchar_t>(text[i]));
        width += w < 0 ? 1 : w;
    }
    return width;
}

size_t TerminalColumns() {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return 80;
}

bool ReadByte(int fd, unsigned char& byte) {
    for (;;) {
        const ssize_t got = ::read(fd, &byte, 1);
        if (got == 1)
            return true;
        if (got < 0 && errno == EINTR)
            continue;
        return false;
    }
}

void Out(const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t wrote = ::write(STDOUT_FILENO, text.data() + done, text.size() - done);
        if (wrote <= 0)
            return;
        done += static_cast<size_t>(wrote);
    }
}

} // namespace

bool CLineEditor::IsInteractive() {
    return ::isatty(STDIN_FILENO) && ::isatty(STDOUT_FILENO);
}

void CLineEditor::AddHistory(const std::string& entry) {
    if (entry.find_first_not_of(" \t") == std::string::npos)
        return;
    if (m_history.empty() || m_history.back() != entry)
        m_history.push_back(entry);
}

// The line is redrawn on one terminal row: a line longer than the row shows
// the part around the cursor, so that the display never wraps.
void CLineEditor::Redraw(const std::string& prompt, const std::u32string& line,
                         size_t cursor) const {
    const std::u32string promptText = Decode(prompt);
    const size_t promptWidth = Width(promptText, 0, promptText.size());
    const size_t columns = TerminalColumns();
    const size_t room = columns > promptWidth + 2 ? columns - promptWidth - 1 : 1;
    size_t first = 0;
    while (first < cursor && Width(line, first, cursor) >= room)
        ++first;
    size_t last = first;
    while (last < line.size() && Width(line, first, last + 1) <= room)
        ++last;
    std::string text = "\r" + prompt + Encode(line.substr(first, last - first)) + "\x1b[K";
    const size_t behind = Width(line, first, last) - Width(line, first, cursor);
    if (behind > 0)
        text += "\x1b[" + std::to_string(behind) + "D";
    Out(text);
}

std::optional<std::string> CLineEditor::ReadLine(const std::string& prompt) {
    std::fflush(stdout);
    RawMode raw(STDIN_FILENO);
    if (!raw.Active()) {
        // Not a terminal after all: a plain line read.
        Out(prompt);
        std::string line;
        if (!std::getline(std::cin, line))
            return std::nullopt;
        return line;
    }

    std::u32string line;
    size_t cursor = 0;
    // Position in the history while walking it; the line being written is
    // kept aside meanwhile.
    size_t recalled = m_history.size();
    std::u32string draft;
    std::string pendingUtf8;
    Redraw(prompt, line, cursor);

    for (;;) {
        unsigned char byte = 0;
        if (!ReadByte(STDIN_FILENO, byte)) {
            Out("\r\n");
            return std::nullopt;
        }
        if (byte == '\r' || byte == '\n') {
            Out("\r\n");
            return Encode(line);
        }
        if (byte == 4) { // Ctrl-D
            if (line.empty()) {
                Out("\r\n");
                return std::nullopt;
            }
            if (cursor < line.size())
                line.erase(cursor, 1);
        } else if (byte == 3) { // Ctrl-C: start over
            Out("^C\r\n");
            line.clear();
            cursor = 0;
            recalled = m_history.size();
        } else if (byte == 127 || byte == 8) {
            if (cursor > 0)
                line.erase(--cursor, 1);
        } else if (byte == 1) {
            cursor = 0;
        } else if (byte == 5) {
            cursor = line.size();
        } else if (byte == 21) {
            line.erase(0, cursor);
            cursor = 0;
        } else if (byte == 27) {
            unsigned char a = 0;
            unsigned char b = 0;
            if (!ReadByte(STDIN_FILENO, a) || (a != '[' && a != 'O') || !ReadByte(STDIN_FILENO, b))
                continue;
            if (b >= '0' && b <= '9') {
                unsigned char tilde = 0;
                if (!ReadByte(STDIN_FILENO, tilde) || tilde != '~')
                    continue;
                if (b == '3' && cursor < line.size())
                    line.erase(cursor, 1);
                else if (b == '1' || b == '7')
                    cursor = 0;
                else if (b == '4' || b == '8')
                    cursor = line.size();
            } else if (b == 'A' && recalled > 0) {
                if (recalled == m_history.size())
                    draft = line;
                line = Decode(m_history[--recalled]);
                cursor = line.size();
            } else if (b == 'B' && recalled < m_history.size()) {
                ++recalled;
                line = recalled == m_history.size() ? draft : Decode(m_history[recalled]);
                cursor = line.size();
            } else if (b == 'C' && cursor < line.size()) {
                ++cursor;
            } else if (b == 'D' && cursor > 0) {
                --cursor;
            } else if (b == 'H') {
                cursor = 0;
            } else if (b == 'F') {
                cursor = line.size();
            }
        } else if (byte >= 0x20) {
            // UTF-8 arrives byte by byte; a character is inserted once whole.
            pendingUtf8 += static_cast<char>(byte);
            const unsigned char lead = static_cast<unsigned char>(pendingUtf8[0]);
            const size_t needed = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
            if (pendingUtf8.size() < needed)
                continue;
            const std::u32string decoded = Decode(pendingUtf8);
            pendingUtf8.clear();
            line.insert(cursor, decoded);
            cursor += decoded.size();
        }
        Redraw(prompt, line, cursor);
    }
}

std::optional<std::string> CLineEditor::ReadHidden(const std::string& prompt) {
    int fd = ::open("/dev/tty", O_RDWR | O_CLOEXEC);
    const bool ownTerminal = fd >= 0;
    if (!ownTerminal)
        fd = STDIN_FILENO;
    std::fputs(prompt.c_str(), stderr);
    std::fflush(stderr);
    termios saved{};
    const bool isTerminal = ::tcgetattr(fd, &saved) == 0;
    if (isTerminal) {
        termios quiet = saved;
        quiet.c_lflag &= ~ECHO;
        quiet.c_lflag |= ECHONL;
        ::tcsetattr(fd, TCSAFLUSH, &quiet);
    }
    std::string line;
    bool ended = false;
    unsigned char byte = 0;
    while (ReadByte(fd, byte)) {
        if (byte == '\n') {
            ended = true;
            break;
        }
        if (byte != '\r')
            line += static_cast<char>(byte);
    }
    if (isTerminal)
        ::tcsetattr(fd, TCSAFLUSH, &saved);
    if (ownTerminal)
        ::close(fd);
    if (!ended && line.empty())
        return std::nullopt;
    return line;
}
