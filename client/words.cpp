#include "words.h"

#include "checks.h"

#include <algorithm>
#include <cstdio>

// The least number of characters to insert, delete or change.
static size_t distance(const std::string &a, const std::string &b)
{
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); j++) {
        row[j] = j;
    }
    for (size_t i = 1; i <= a.size(); i++) {
        size_t diagonal = row[0]++;
        for (size_t j = 1; j <= b.size(); j++) {
            const size_t changed = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

std::string did_you_mean(const std::string &word, const std::vector<std::string> &known)
{
    std::string nearest;
    size_t best = 1 + word.size() / 3;
    for (const std::string &each : known) {
        const bool part = word.size() > 2 && each.find(word) != std::string::npos;
        const size_t apart = part ? 1 : distance(word, each);
        if (apart <= best && (nearest.empty() || apart < best)) {
            best = apart;
            nearest = each;
        }
    }
    return nearest.empty() ? "" : ", did you mean '" + nearest + "'?";
}

std::vector<std::string> words_of_line(const std::string &line)
{
    std::vector<std::string> words;
    char quote = '\0';
    bool open = false; // a word has begun
    for (size_t i = 0; i < line.size(); i++) {
        const char c = line[i];
        if (quote == '\0' && !open && c == '#') {
            break;
        }
        if (quote == '\0' && (c == ' ' || c == '\t' || c == '\r' || c == '\n')) {
            open = false;
            continue;
        }
        if (!open) {
            words.emplace_back();
            open = true;
        }
        if (c == quote || (quote == '\0' && (c == '\'' || c == '"'))) {
            quote = quote == '\0' ? c : '\0';
        } else if (c == '\\' && quote != '\'' && i + 1 < line.size()) {
            words.back() += line[++i];
        } else {
            words.back() += c;
        }
    }
    if (quote != '\0') {
        refuse("a quote has no end");
    }
    return words;
}

std::string wrapped(const std::string &text, size_t indent)
{
    constexpr size_t kWidth = 100;
    std::string lines;
    size_t column = indent;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find_first_of(" ,", start), text.size() - 1) + 1; // with the blank or comma
        const size_t length = end - start - (text[end - 1] == ' ' ? 1 : 0);
        if (column + length > kWidth) {
            lines.erase(lines.find_last_not_of(' ') + 1);
            lines += "\n" + std::string(indent, ' ');
            column = indent;
        }
        lines += text.substr(start, end - start);
        column += end - start;
        start = end;
    }
    return lines;
}

std::string quoted(const std::string &text)
{
    std::string result = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < ' ' || byte > '~') { // bytes that may be no UTF-8 would make it no JSON
            char escape[8];
            snprintf(escape, sizeof escape, "\\u%04x", unsigned{byte});
            result += escape;
        } else {
            result += c == '"' || c == '\\' ? "\\" : "";
            result += c;
        }
    }
    return result + "\"";
}
