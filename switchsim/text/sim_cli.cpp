#include "switchsim/text/sim_cli.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <limits>

namespace
{
bool plain(unsigned char c)
{
  return c > ' ' && c < 0x7f && c != '"' && c != '\\';
}

// Takes an escape, at its backslash, off the line.
bool escape_take(const std::string& line, size_t& at, std::string& text)
{
  const std::string escape = line.substr(at, 4);
  if (escape.size() >= 2 && (escape[1] == '"' || escape[1] == '\\')) {
    text += escape[1];
    at += 2;
    return true;
  }
  if (escape.size() < 4 || escape[1] != 'x' ||
      isxdigit(static_cast<unsigned char>(escape[2])) == 0 ||
      isxdigit(static_cast<unsigned char>(escape[3])) == 0)
    return false;
  const unsigned long code = std::stoul(escape.substr(2), nullptr, 16);
  text += static_cast<char>(static_cast<unsigned char>(code));
  at += 4;
  return code != 0;
}

bool quoted_take(const std::string& line, size_t& at, std::string& text)
{
  for (at++; at < line.size() && line[at] != '"';)
    if (line[at] != '\\')
      text += line[at++];
    else if (!escape_take(line, at, text))
      return false;
  return at++ < line.size() && (at == line.size() || isspace(static_cast<unsigned char>(line[at])));
}

// The position of a word among "{one|two|...}"; false when it is none of them.
bool choice_find(std::string_view choices, const std::string& word, uint64_t& position)
{
  choices = choices.substr(1, choices.size() - 2);
  for (position = 0;; position++) {
    const size_t end = choices.find('|');
    if (choices.substr(0, end) == word)
      return true;
    if (end == std::string_view::npos)
      return false;
    choices.remove_prefix(end + 1);
  }
}

// Whether a word is what a pattern's word asks for; a field is then added to args.
bool word_match(std::string_view wanted, const sim_cli_word_t& word, sim_cli_args_t& args)
{
  if (wanted[0] != '{')
    return !word.quoted && wanted == word.text;
  args.push_back({0, word.text});
  uint64_t& number = args.back().number;
  if (wanted == "{t}")
    return true;
  if (wanted == "{n}") {
    return !word.quoted && sim_cli_number_read(word.text, number) &&
           number <= std::numeric_limits<uint32_t>::max();
  }
  return !word.quoted && choice_find(wanted, word.text, number);
}
}  // namespace

bool sim_cli_number_read(const std::string& text, uint64_t& number)
{
  const char* end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, number);
  return read.ec == std::errc() && read.ptr == end;
}

void sim_cli_word(std::string& line, const std::string& text)
{
  if (!text.empty() && text[0] != '!' && text[0] != '#' &&
      std::all_of(text.begin(), text.end(), plain)) {
    line += text;
    return;
  }
  line += '"';
  for (const char c : text) {
    char escape[sizeof "\\xHH"];
    if (c == '"' || c == '\\') {
      line += '\\';
      line += c;
    } else if (c == ' ' || plain(static_cast<unsigned char>(c))) {
      line += c;
    } else {
      snprintf(escape, sizeof escape, "\\x%02x",
               static_cast<unsigned>(static_cast<unsigned char>(c)));
      line += escape;
    }
  }
  line += '"';
}

bool sim_cli_split(const std::string& line, std::vector<sim_cli_word_t>& words)
{
  words.clear();
  if (line.find('\0') != std::string::npos)
    return false;  // no text can be written with one
  for (size_t at = 0; at < line.size();) {
    if (isspace(static_cast<unsigned char>(line[at])) != 0) {
      at++;
    } else if (words.empty() && (line[at] == '!' || line[at] == '#')) {
      return true;
    } else if (line[at] == '"') {
      words.push_back({"", true});
      if (!quoted_take(line, at, words.back().text))
        return false;
    } else {
      const size_t start = at;
      while (at < line.size() && isspace(static_cast<unsigned char>(line[at])) == 0)
        at++;
      words.push_back({line.substr(start, at - start), false});
    }
  }
  return true;
}

bool sim_cli_match(std::string_view pattern, const std::vector<sim_cli_word_t>& words,
                   sim_cli_args_t& args)
{
  args.clear();
  for (const sim_cli_word_t& word : words) {
    const std::string_view wanted = pattern.substr(0, pattern.find(' '));
    pattern.remove_prefix(std::min(wanted.size() + 1, pattern.size()));
    if (wanted.empty() || !word_match(wanted, word, args))
      return false;
  }
  return pattern.empty();
}
