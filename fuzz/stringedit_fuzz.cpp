// String editing as a small language: each command byte edits a string, an editor's target and a plain model
// of both, which must agree after every step.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "zulib/text/zustring.h"
#include "zulib/text/zustringw.h"

namespace {

void demand(bool holds) {
  if (!holds) std::abort();
}

class Input {
 public:
  Input(const uint8_t* p, size_t n) : p(p), left(n) {}
  bool atEnd() const { return left == 0; }
  unsigned byte() {
    if (left == 0) return 0;
    --left;
    return *p++;
  }
  template <class Model>
  Model text() {
    Model s;
    // Mostly of few characters, so that hits, quotes and lines come up.
    for (unsigned n = byte() % 32; n > 0 && left > 0; --n) {
      const unsigned value = byte();
      s += static_cast<typename Model::value_type>(value < 0xC0 ? "ab'\n \t\rc"[value % 8] : value);
    }
    return s;
  }

 private:
  const uint8_t* p;
  size_t left;
};

struct Narrow {
  using Char = unsigned char;
  using Model = std::string;
  using View = ZuSubString;
  using String = ZuString;
  using Editor = ZuReplaceString;
  static int change(String& s, size_t at, size_t n, const Char* p, size_t m) {
    return s.changeBytes(at, n, p, m);
  }
  static int addQuoted(String& s, const View& view) { return s.addQuotedBytes(view, '\''); }
  static int insertQuoted(Editor& e, const Char* p, size_t n) { return e.addQuotedBytes(p, n, '\''); }
};

struct Wide {
  using Char = unsigned short;
  using Model = std::u16string;
  using View = ZuSubStringW;
  using String = ZuStringW;
  using Editor = ZuReplaceStringW;
  static int change(String& s, size_t at, size_t n, const Char* p, size_t m) {
    return s.changeChars(at, n, p, m);
  }
  static int addQuoted(String& s, const View& view) { return s.addQuotedChars(view, '\''); }
  static int insertQuoted(Editor& e, const Char* p, size_t n) { return e.addQuotedChars(p, n, '\''); }
};

template <class Kind>
class Edit {
  using Char = typename Kind::Char;
  using Model = typename Kind::Model;

 public:
  explicit Edit(Input& in) : in(in) { demand(s.initialize(0ul) == 0); }

  void run() {
    while (!in.atEnd() && model.size() < 4096) {
      step(in.byte());
      demand(same(s, model));
      demand(s.getLength() < s.getCapacity());
    }
  }

 private:
  static const Char* chars(const Model& m) { return reinterpret_cast<const Char*>(m.data()); }
  template <class View>
  static bool same(const View& view, const Model& m) {
    return view.getLength() == m.size() && view.isEqual(chars(m), m.size());
  }

  static Model quoted(const Model& m) {
    const typename Model::value_type quote = '\'';
    Model out(1, quote);
    for (const auto c : m) out.append(c == quote ? 2 : 1, c);
    return out + quote;
  }

  void step(unsigned command) {
    const size_t at = in.byte() % (model.size() + 1);
    const size_t n = in.byte() % (model.size() - at + 1);
    const Model piece = in.template text<Model>();
    const typename Kind::View part(s.asPascalStr(at), n);  // of the string's own text
    switch (command % 10) {
      case 0:
        demand(s.concat(part) == 0);
        model += model.substr(at, n);
        break;
      case 1:
        demand(Kind::change(s, at, n, piece.empty() ? nullptr : chars(piece), piece.size()) == 0);
        model.replace(at, n, piece);
        break;
      case 2:
        demand(s.addQuotes('\'') == 0);
        demand(same(s, quoted(model)));
        s.removeQuotes();
        break;
      case 3:
        demand(s.insertLineBreaks(at, '\'', '"', 0) == 0);
        demand(s.getLength() == model.size());
        takeModel();
        break;
      case 4:
        demand(s.removeLineFeeds('\'', 0, 0) == 0);
        demand(s.getLength() <= model.size());
        takeModel();
        break;
      case 5: {
        const Model pattern = piece.substr(0, 1 + at % 2);
        const Model text = piece.substr(pattern.size());
        demand(s.replaceSubString(chars(pattern), pattern.size(), chars(text), text.size()) == 0);
        for (size_t i = 0; !pattern.empty() && (i = model.find(pattern, i)) != Model::npos; i += text.size())
          model.replace(i, pattern.size(), text);
        break;
      }
      case 6:
        demand(s.clearAndSet(part) == 0);
        model = model.substr(at, n);
        break;
      case 7:
        demand(Kind::addQuoted(s, part) == 0);
        model += quoted(model.substr(at, n));
        break;
      case 8:
        demand(s.trim() == 0);
        demand(s.getCapacity() == model.size() + 1);
        break;
      default: edit(piece);
    }
  }

  void takeModel() {
    model.clear();
    for (size_t i = 0; i < s.getLength(); ++i) model += static_cast<typename Model::value_type>(s[i]);
  }

  void edit(const Model& piece) {
    Model head;
    Model tail = model;
    {
      typename Kind::Editor editor(&s);
      for (unsigned steps = in.byte() % 8; steps > 0; --steps) {
        const unsigned command = in.byte();
        const size_t n = in.byte() % (tail.size() + 1);
        if (command % 4 == 0) {
          demand(editor.concat(chars(piece), piece.size()) == 0);
          head += piece;
        } else if (command % 4 == 1) {
          editor.increaseInsertionPoint(n);
          head += tail.substr(0, n);
          tail.erase(0, n);
        } else if (command % 4 == 2) {
          const size_t back = in.byte() % (head.size() + 1);
          editor.setInsertionPoint(back);
          tail.insert(0, head, back, Model::npos);
          head.erase(back);
        } else {
          // A stretch of the tail itself, which moves while room is made.
          demand(Kind::insertQuoted(editor, editor.asPascalStr(), n) == 0);
          head += quoted(tail.substr(0, n));
        }
        demand(same(editor, tail));
        demand(editor.getInsertionPoint() == head.size());
      }
    }
    model = head + tail;
    demand(s.getCapacity() == model.size() + 1);
  }

  Input& in;
  typename Kind::String s;
  Model model;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input in(data, size);
  if (in.byte() % 2 == 0) {
    Edit<Narrow>(in).run();
  } else {
    Edit<Wide>(in).run();
  }
  return 0;
}
