// Cuts SQL text into statements at the semicolons that end them. Text is fed
// in pieces (lines of a terminal, whole files); a statement is complete when
// its ';' arrives. Semicolons inside quoted text ('...', "...", `...`,
// [...]), inside comments (-- to the end of the line, /* ... */) and inside
// the BEGIN ... END body of a CREATE TRIGGER do not end a statement.
#pragma once

#include <string>
#include <vector>

class CStatementSplitter {
public:
    // Adds text; the statements it completed, without their ';' and without
    // surrounding blanks. Statements that hold nothing but blanks and
    // comments are left out.
    std::vector<std::string> Feed(const std::string& text);
    // What is left once the input ends: the unfinished statement, or empty.
    std::string Finish();
    // Whether part of a statement is waiting for its end.
    bool HasPending() const;

private:
    enum class State { Code, Single, Double, Backtick, Bracket, LineComment, BlockComment };

    // Completes the pending statement at a ';' unless a trigger body is open.
    bool EndsHere() const;
    void NoteWord();
    static std::string Trim(const std::string& text);
    // The character that ends a quoted piece or a line comment.
    static char ClosingOf(State state);

    std::string m_pending;
    State m_state = State::Code;
    // The words of the statement so far that decide about trigger bodies.
    std::vector<std::string> m_leadingWords;
    std::string m_word;
    int m_triggerDepth = 0;
    // Whether the statement holds anything but blanks and comments.
    bool m_hasCode = false;
};
