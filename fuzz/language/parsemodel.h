// A slow model of ZuParser over the table of a compiled grammar: plain recursion over a list of tokens.
//
// A production either fails at a token or returns at another one; which, depends on nothing but that token.
// In a state with a choice the alternatives are tried in their order, and the first that leads to the
// production's end is the one. A path that comes back to a state, or enters a production inside itself,
// without having taken a token fails.

#ifndef ZULIB_FUZZ_LANGUAGE_PARSEMODEL_H
#define ZULIB_FUZZ_LANGUAGE_PARSEMODEL_H

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "zulib/language/parser/zuparser.h"

class ParseModel {
 public:
  enum class Result { Parsed, Unparsable, Refused, TooLong };

  ParseModel(const ZuGrammar& g, ZuKeywordList* keywords, const std::string& text) : grammar(g) {
    readTokens(text, keywords);
  }

  Result parse(std::string* tree) {
    ZuProduction* goal;
    if (grammar.getParseTable(&goal) || tokens[0].isRefused) return Result::Refused;
    const auto end = call(goal->getParseTop(), goal->getNumber(), 0, true);
    if (stopped) return *stopped;
    if (!end) return Result::Unparsable;
    *tree = out;
    return Result::Parsed;
  }

  // The tree of the model, and of the parser, as text: each node its number and text or its children.
  static std::string terminal(short type, const char* text) {
    return std::to_string(type) + "'" + text + "' ";
  }
  static std::string textOf(ZuReduction* node) {
    ZuReduction* child;
    node->getChild(&child);
    if (node->terminal()) {
      return terminal(node->reductNumber(), reinterpret_cast<const char*>(node->getString()));
    }
    std::string text = std::to_string(node->reductNumber()) + "(";
    for (; child; child->getNextSibling(&child)) text += textOf(child);
    return text + ")";
  }

 private:
  struct Token {
    short type;
    std::string text;
    bool isRefused;
    size_t closing;        // of a token in a literal: where its closing quote is, else 0
    std::string contents;  // of the literal that this token closes
  };
  struct Frame {
    std::set<std::pair<const ZuParseState*, size_t>> visited;
    bool isGoal;
  };
  static constexpr size_t kContents = size_t{1} << 32;  // added to the closing quote's index: the contents
  static constexpr unsigned long kMostSteps = 20000;

  void readTokens(const std::string& text, ZuKeywordList* keywords) {
    ZuLexer lexer(reinterpret_cast<const unsigned char*>(text.c_str()), keywords);
    size_t opened = 0;
    size_t inside = 0;
    std::string contents;
    bool wasIn = false;
    short type;
    do {
      unsigned char* word;
      const bool isRefused = lexer.nextToken(&type, &word) != 0;
      if (isRefused) type = tokenNone;  // literal contents may lie over it
      const bool isIn = lexer.tokenIsLiteral();
      if (isIn && !wasIn) {
        opened = tokens.size();
        inside = lexer.getTokenPosition() + 1;
      }
      if (!isIn && wasIn) {
        for (size_t i = opened; i < tokens.size(); ++i) tokens[i].closing = tokens.size();
        contents = text.substr(inside, lexer.getTokenPosition() - inside);
      }
      tokens.push_back({type, reinterpret_cast<const char*>(word), isRefused, 0, contents});
      contents.clear();
      wasIn = isIn;
    } while (type != tokenEnd);
  }

  std::optional<size_t> stop(Result why) {
    if (!stopped) stopped = why;
    return std::nullopt;
  }

  std::optional<size_t> call(const ZuParseState* top, short number, size_t at, bool isGoal) {
    if (!open.insert({top, at}).second) return std::nullopt;
    Frame frame{{}, isGoal};
    const size_t length = out.size();
    out += std::to_string(number) + "(";
    const auto end = walk(frame, top, at);
    if (end) {
      out += ")";
    } else {
      out.resize(length);
    }
    open.erase({top, at});
    return end;
  }

  // From a state to the return of the production; where that is.
  std::optional<size_t> walk(Frame& frame, const ZuParseState* state, size_t at) {
    if (stopped || ++steps > kMostSteps) return stop(Result::TooLong);
    if (!frame.visited.insert({state, at}).second) return std::nullopt;
    const bool isContents = at >= kContents;
    const Token& token = tokens[isContents ? at - kContents : at];
    const short type = isContents ? static_cast<short>(tokenLiteralContents) : token.type;
    const std::string text = isContents ? token.contents : token.text;
    bool isChoice = true;
    for (short skip = 0; isChoice; ++skip) {
      ZuStateTransition* found;
      if (state->nextState(type, reinterpret_cast<const unsigned char*>(text.c_str()), &found, skip)) break;
      if (found->getAction() == actionReturn && frame.isGoal && type != tokenEnd) break;
      const bool takesContents = found->getTokenType() == tokenLiteralContents;
      if (skip == 0) isChoice = found->isDuplicate() && !takesContents;
      size_t next = at;
      if (takesContents && !isContents) {
        if (!token.closing) return stop(Result::Refused);
        next = token.closing + kContents;
      }
      const size_t length = out.size();
      if (const auto end = follow(frame, found, next)) return end;
      if (stopped) return std::nullopt;
      out.resize(length);
    }
    return std::nullopt;
  }

  std::optional<size_t> follow(Frame& frame, const ZuStateTransition* found, size_t at) {
    switch (found->getAction()) {
      case actionGoto: return walk(frame, found->getNextParseState(), at);
      case actionShift: {
        const bool isContents = at >= kContents;
        const Token& token = tokens[isContents ? at - kContents : at];
        out += isContents ? terminal(tokenLiteralContents, token.contents.c_str())
                          : terminal(token.type, token.text.c_str());
        const size_t next = isContents ? at - kContents : token.type == tokenEnd ? at : at + 1;
        if (tokens[next].isRefused) return stop(Result::Refused);
        return walk(frame, found->getNextParseState(), next);
      }
      case actionPush: {
        const auto end = call(found->getNextParseState(), found->getProductionNumber(), at, false);
        return end ? walk(frame, found->getPushState(), *end) : end;
      }
      default: return at;
    }
  }

  const ZuGrammar& grammar;
  std::vector<Token> tokens;
  std::string out;
  std::set<std::pair<const ZuParseState*, size_t>> open;
  std::optional<Result> stopped;
  unsigned long steps = 0;
};

#endif
