// What the bison parser that is our reference builds its trees with: the same nodes as ours.

#ifndef ZULIB_BENCH_LANGUAGE_REFERENCE_H
#define ZULIB_BENCH_LANGUAGE_REFERENCE_H

#include <string>

#include "zulib/language/parser/zureduction.h"

// A chain of siblings.
struct Nodes {
  ZuReduction* first;
  ZuReduction* last;
};

inline Nodes one(short code, const char* text) {
  auto* const made = new ZuReduction(code, reinterpret_cast<const unsigned char*>(text));
  return {made, made};
}

inline Nodes join(Nodes a, Nodes b) {
  a.last->setNextSibling(b.first);
  b.first->setPrevSibling(a.last);
  return {a.first, b.last};
}

inline Nodes node(short production, Nodes children) {
  auto* const made = new ZuReduction(production, nullptr);
  made->setChild(children.first);
  for (ZuReduction* child = children.first; child; child->getNextSibling(&child)) child->setParent(made);
  return {made, made};
}

inline ZuReduction* referenceTree;

// False if the text does not follow the grammar.
bool referenceParse(const std::string& text, ZuReduction** tree);

#endif
