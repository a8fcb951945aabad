#include "StatementSplitter.h"

#include <cctype>

namespace {

std::string Upper(const std::string& word) {
    std::string upper = word;
    for (char& c : upper)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return upper;
}

bool IsWordChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

} // namespace

std::string CStatementSplitter::Trim(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos)
        return std::string();
    const auto last = text.find_last_not_of(" \t\r\n");
    return text.substr(first, last - first + 1);
}

char CStatementSplitter::ClosingOf(State state) {
    switch (state) {
    case State::Single:
        return '\'';
    case State::Double:
        return '"';
    case State::Backtick:
        return '`';
    case State::Bracket:
        return ']';
    default:
        return '\n';
    }
}

bool CStatementSplitter::HasPending() const {
    return m_hasCode || m_state != State::Code;
}

bool CStatementSplitter::EndsHere() const {
    return m_triggerDepth == 0;
}

// Trigger bodies hold statements of their own; their semicolons belong to the
// CREATE TRIGGER. A BEGIN (or CASE, which ends with END too) opens a level
// once the statement is known to create a trigger, an END closes one.
void CStatementSplitter::NoteWord() {
    if (m_word.empty())
        return;
    const std::string word = Upper(m_word);
    m_word.clear();
    if (m_leadingWords.size() < 4)
        m_leadingWords.push_back(word);
    bool trigger = false;
    for (size_t i = 0; i < m_leadingWords.size(); ++i)
        if (m_leadingWords[i] == "TRIGGER" && m_leadingWords[0] == "CREATE")
            trigger = true;
    if (!trigger)
        return;
    if (word == "BEGIN" || (word == "CASE" && m_triggerDepth > 0))
        ++m_triggerDepth;
    else if (word == "END" && m_triggerDepth > 0)
        --m_triggerDepth;
}

std::vector<std::string> CStatementSplitter::Feed(const std::string& text) {
    std::vector<std::string> complete;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const char next = i + 1 < text.size() ? text[i + 1] : '\0';
        switch (m_state) {
        case State::Code:
            if (IsWordChar(c)) {
                m_word += c;
                m_hasCode = true;
                m_pending += c;
                continue;
            }
            NoteWord();
            if (c == ';' && EndsHere()) {
                if (m_hasCode)
                    complete.push_back(Trim(m_pending));
                m_pending.clear();
                m_leadingWords.clear();
                m_hasCode = false;
                continue;
            }
            if (c == '-' && next == '-')
                m_state = State::LineComment;
            else if (c == '/' && next == '*') {
                m_state = State::BlockComment;
                m_pending += c;
                m_pending += next;
                ++i;
                continue;
            } else if (c == '\'')
                m_state = State::Single;
            else if (c == '"')
                m_state = State::Double;
            else if (c == '`')
                m_state = State::Backtick;
            else if (c == '[')
                m_state = State::Bracket;
            if (m_state != State::Code && m_state != State::LineComment &&
                m_state != State::BlockComment)
                m_hasCode = true;
            else if (c != ' ' && c != '\t' && c != '\r' && c != '\n' && m_state == State::Code)
                m_hasCode = true;
            break;
        case State::Single:
        case State::Double:
        case State::Backtick:
        case State::Bracket:
        case State::LineComment:
            // A doubled quote stays inside; the second one is seen as the
            // start of a new quoted piece, which comes to the same thing.
            if (c == ClosingOf(m_state))
                m_state = State::Code;
            break;
        case State::BlockComment:
            if (c == '*' && next == '/') {
                m_pending += c;
                m_pending += next;
                ++i;
                m_state = State::Code;
                continue;
            }
            break;
        }
        m_pending += c;
    }
    return complete;
}

std::string CStatementSplitter::Finish() {
    NoteWord();
    std::string rest = m_hasCode ? Trim(m_pending) : std::string();
    m_pending.clear();
    m_leadingWords.clear();
    m_triggerDepth = 0;
    m_hasCode = false;
    m_state = State::Code;
    return rest;
}
