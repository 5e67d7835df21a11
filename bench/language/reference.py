#!/usr/bin/env python3
"""Makes a bison grammar and a flex scanner of a grammar file, which build the tree that our parser builds.

usage: reference.py GRAMMAR OUTPUT_DIRECTORY    writes reference.y and reference.l there
"""
import re
import sys
from pathlib import Path

FIRST_PRODUCTION = 1000
FIRST_KEYWORD = 100
# The codes of our lexer.
WORD, NUMBER = 2, 5
PUNCTUATION = {"!": 10, "*": 17, "(": 18, ")": 19, "-": 20, "+": 22, "=": 23, "|": 24, ";": 31, "<": 34, ",": 35,
               ">": 36, ".": 37, "?": 38, "/": 39}


# A literal is three tokens: the one that opens it, its contents, and the one that closes it.
SCANNER = r"""%%{
#include "reference.tab.h"
#define YY_DECL static int scan()
static int scan();
static int terminal(short code, int token) { reflval = one(code, reftext); return token; }
static int pending;
static int quote;
static int literal(int token) {
  reftext[refleng - 1] = 0;
  const char text[] = {reftext[0], 0};
  reflval = one(40, text);
  pending = 2;
  return quote = token;
}
int reflex() {
  if (pending == 0) return scan();
  const char text[] = {reftext[0], 0};
  reflval = pending == 2 ? one(41, reftext + 1) : one(40, text);
  return --pending ? CONTENTS : quote;
}
%%}
%%option prefix="ref" noyywrap case-insensitive full never-interactive nounput noinput
%%%%
[ \t\r\n]+ {}
%s
[a-z_][a-z_0-9]* { return terminal(%d, WORD); }
[0-9]+ { return terminal(%d, NUMBER); }
%s
'([^']|\'\')*' { return literal(QUOTE); }
\"([^"]|\"\")*\" { return literal(DOUBLE_QUOTE); }
. { return -1; }
%%%%
bool referenceParse(const std::string& text, ZuReduction** tree) {
  pending = 0;
  const YY_BUFFER_STATE buffer = ref_scan_bytes(text.data(), static_cast<int>(text.size()));
  const bool isParsed = refparse() == 0;
  ref_delete_buffer(buffer);
  *tree = referenceTree;
  return isParsed;
}
"""


def read(path):
    productions = {}
    for line in path.read_text().splitlines():
        if not line or line.startswith("#"):
            continue
        words = line.split()
        if not line[0].isspace():
            name = words[0]
            productions[name] = []
            words = words[2:]
        productions[name] += words
    return productions


class Translation:
    """Groups that repeat become productions of their own; what may be left out becomes alternatives."""

    def __init__(self, productions):
        self.productions = productions
        self.keywords = []
        self.rules = []
        for number, (name, words) in enumerate(productions.items(), FIRST_PRODUCTION):
            alternatives, rest = self.alternatives(words)
            assert not rest, name
            self.rule(self.symbol(name), alternatives, f"$$ = node({number}, %s);")

    def rule(self, name, alternatives, action):
        lines = []
        for parts in alternatives:
            values = [f"${i + 1}" for i in range(len(parts))]
            joined = values[0]
            for value in values[1:]:
                joined = f"join({joined}, {value})"
            lines.append(" ".join(parts) + " { " + action % joined + " }")
        self.rules.append(f"{name}:\n    " + "\n  | ".join(lines) + "\n  ;")

    def alternatives(self, words):
        """All sequences of symbols up to a closing bracket, and the words from there on."""
        found, current = [], [[]]
        while words and words[0][0] not in "]}":
            word, words = words[0], words[1:]
            if word == "|":
                found, current = found + current, [[]]
                continue
            if word in "[{":
                inner, words = self.alternatives(words)
                closing, words = words[0], words[1:]
                if closing in ("}*", "}+"):
                    name = f"list_{len(self.rules)}"
                    self.rule(name, inner + [[name] + parts for parts in inner], "$$ = %s;")
                    inner = [[name]]
                if closing in ("]", "}*"):
                    inner = inner + [[]]
            else:
                inner = [[self.symbol(word)]]
            current = [before + parts for before in current for parts in inner]
        return found + current, words

    def symbol(self, word):
        special = {"alphanum": "WORD", "number": "NUMBER", "literal-contents": "CONTENTS", "'": "QUOTE",
                   '"': "DOUBLE_QUOTE"}
        if word in special:
            return special[word]
        if word in self.productions:
            return "p_" + word.replace("-", "_")
        if word.isupper():
            if word not in self.keywords:
                self.keywords.append(word)
            return "K_" + word
        return f"'{word.lstrip(chr(92))}'"


def main():
    grammar = Path(sys.argv[1])
    out = Path(sys.argv[2])
    productions = read(grammar)
    translation = Translation(productions)
    # Our keywords are numbered in the order of the file.
    text = " ".join(" ".join([name] + words) for name, words in productions.items())
    ordered = list(dict.fromkeys(re.findall(r"[A-Z]+", text)))
    codes = {word: FIRST_KEYWORD + i for i, word in enumerate(ordered)}
    tokens = " ".join("K_" + word for word in translation.keywords)
    (out / "reference.y").write_text(f"""%code requires {{ #include "language/reference.h" }}
%code {{ int reflex(); void referror(const char*); }}
%define api.prefix {{ref}}
%define api.value.type {{Nodes}}
%token WORD NUMBER QUOTE DOUBLE_QUOTE CONTENTS {tokens}
%start all
%%
all: p_goal {{ referenceTree = $1.first; }};
""" + "\n".join(translation.rules) + "\n%%\nvoid referror(const char*) {}\n")
    rules = "\n".join(f'{word} {{ return terminal({codes[word]}, K_{word}); }}' for word in translation.keywords)
    marks = "\n".join(f'"{mark}" {{ return terminal({code}, \'{mark}\'); }}' for mark, code in PUNCTUATION.items())
    (out / "reference.l").write_text(SCANNER % (rules, WORD, NUMBER, marks))


main()
