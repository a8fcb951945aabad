// Reads lines from a terminal with simple editing: the cursor keys move in
// the line and walk through the lines entered before in this session,
// Backspace and Delete remove, Home/End (Ctrl-A/Ctrl-E) jump, Ctrl-U clears,
// Ctrl-C drops the line, Ctrl-D on an empty line ends the input. Also reads
// a password without echoing it.
#pragma once

#include <optional>
#include <string>
#include <vector>

class CLineEditor {
public:
    // Whether standard input and output are terminals.
    static bool IsInteractive();

    // One line (UTF-8, without its line end); empty optional at the end of
    // the input.
    std::optional<std::string> ReadLine(const std::string& prompt);
    // Adds an entry the arrow keys can recall; blank entries and a repeat of
    // the last one are not kept.
    void AddHistory(const std::string& entry);

    // Reads one line from the terminal (or standard input when there is
    // none) with echo off; the prompt goes to standard error.
    static std::optional<std::string> ReadHidden(const std::string& prompt);

    const std::vector<std::string>& History() const { return m_history; }

private:
    void Redraw(const std::string& prompt, const std::u32string& line, size_t cursor) const;

    std::vector<std::string> m_history;
};
