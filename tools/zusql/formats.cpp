#include "tools/zusql/formats.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <stdexcept>

#include "tools/zusql/display.h"

namespace zusql {

namespace {

constexpr std::array kFormats{Format::Aligned, Format::Csv, Format::JsonLines};
constexpr std::array kFormatNames{"aligned", "csv", "jsonl"};

class AlignedWriter : public RowWriter {
 public:
  AlignedWriter(Output& out, const std::vector<Column>& columns, const FormatOptions& options)
      : out(out), options(options) {
    names.reserve(columns.size());
    for (const Column& column : columns) {
      names.push_back(visible(column.name));
      widths.push_back(options.hasHeader ? columnsOf(names.back()) : 0);
      isRight.push_back(column.isNumeric());
    }
  }

  void row(const std::vector<Field>& fields) override {
    std::vector<std::string> texts;
    texts.reserve(fields.size());
    for (const Field& field : fields) texts.push_back(field.isNull ? options.nullText : visible(field.text));
    if (isHeaderWritten) {
      writeLine(texts);
      return;
    }
    for (std::size_t i = 0; i < texts.size(); ++i) widths[i] = std::max(widths[i], columnsOf(texts[i]));
    held.push_back(std::move(texts));
    if (held.size() == kMeasured) flush();
  }

  void end() override { flush(); }

  void flush() override {
    if (!isHeaderWritten && options.hasHeader) writeHeader();
    isHeaderWritten = true;
    for (const std::vector<std::string>& texts : held) writeLine(texts);
    held.clear();
    held.shrink_to_fit();
  }

 private:
  static constexpr std::size_t kMeasured = 500;

  void writeHeader() {
    std::string rule;
    for (std::size_t i = 0; i < names.size(); ++i) {
      if (i > 0) rule += "-+-";
      rule += std::string(widths[i], '-');
    }
    writeLine(names);
    out.write(rule + "\n");
  }

  void writeLine(const std::vector<std::string>& texts) {
    line.clear();
    for (std::size_t i = 0; i < texts.size(); ++i) {
      const std::size_t width = columnsOf(texts[i]);
      const std::size_t blanks = widths[i] > width ? widths[i] - width : 0;
      if (i > 0) line += " | ";
      if (isRight[i]) line.append(blanks, ' ');
      line += texts[i];
      if (!isRight[i] && i + 1 < texts.size()) line.append(blanks, ' ');
    }
    line += '\n';
    out.write(line);
  }

  Output& out;
  const FormatOptions options;
  std::vector<std::string> names;
  std::vector<std::size_t> widths;
  std::vector<bool> isRight;
  std::vector<std::vector<std::string>> held;  // rows that widths are still taken from
  std::string line;
  bool isHeaderWritten = false;
};

// Lines end with CR LF, as RFC 4180 has it.
class CsvWriter : public RowWriter {
 public:
  CsvWriter(Output& out, const std::vector<Column>& columns, const FormatOptions& options) : out(out) {
    if (!options.hasHeader) return;
    std::vector<Field> names;
    names.reserve(columns.size());
    for (const Column& column : columns) names.push_back({column.name, false});
    CsvWriter::row(names);
  }

  void row(const std::vector<Field>& fields) override {
    line.clear();
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (i > 0) line += ',';
      if (!fields[i].isNull) appendCsvField(line, fields[i].text);
    }
    line += "\r\n";
    out.write(line);
  }

  void flush() override {}

 private:
  Output& out;
  std::string line;
};

class JsonLinesWriter : public RowWriter {
 public:
  JsonLinesWriter(Output& out, const std::vector<Column>& columns) : out(out) {
    for (const Column& column : columns) {
      std::string& key = keys.emplace_back();
      appendJsonString(key, column.name);
      isNumber.push_back(column.isNumeric());
    }
  }

  void row(const std::vector<Field>& fields) override {
    line = "{";
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (i > 0) line += ',';
      line += keys[i] + ":";
      if (fields[i].isNull) {
        line += "null";
      } else if (isNumber[i] && isJsonNumber(fields[i].text)) {
        line += fields[i].text;
      } else {
        appendJsonString(line, fields[i].text);
      }
    }
    line += "}\n";
    out.write(line);
  }

  void flush() override {}

 private:
  Output& out;
  std::vector<std::string> keys;
  std::vector<bool> isNumber;
  std::string line;
};

}  // namespace

Format formatNamed(const std::string& name) {
  for (std::size_t i = 0; i < kFormats.size(); ++i) {
    if (name == kFormatNames[i]) return kFormats[i];
  }
  throw std::runtime_error("no format " + name + ": there are aligned, csv and jsonl");
}

const char* nameOf(Format format) { return kFormatNames[static_cast<std::size_t>(format)]; }

Format formatOfFile(const std::string& path, Format otherwise) {
  if (path.ends_with(".csv")) return Format::Csv;
  for (const char* const ending : {".json", ".jsonl", ".ndjson"}) {
    if (path.ends_with(ending)) return Format::JsonLines;
  }
  return otherwise;
}

std::unique_ptr<RowWriter> makeWriter(Output& out, const std::vector<Column>& columns,
                                      const FormatOptions& options) {
  switch (options.format) {
    case Format::Csv: return std::make_unique<CsvWriter>(out, columns, options);
    case Format::JsonLines: return std::make_unique<JsonLinesWriter>(out, columns);
    default: return std::make_unique<AlignedWriter>(out, columns, options);
  }
}

void appendCsvField(std::string& out, const std::string& text) {
  if (!text.empty() && text.find_first_of(",\"\r\n") == std::string::npos) {
    out += text;
    return;
  }
  out += '"';
  for (const char c : text) {
    if (c == '"') out += '"';
    out += c;
  }
  out += '"';
}

void appendJsonString(std::string& out, const std::string& text) {
  out += '"';
  for (std::size_t from = 0; from < text.size();) {
    const auto byte = static_cast<unsigned char>(text[from]);
    if (byte == '"' || byte == '\\') {
      out += {'\\', text[from++]};
    } else if (byte < 0x20) {
      std::array<char, 8> escape{};
      std::snprintf(escape.data(), escape.size(), "\\u%04x", byte);
      out += escape.data();
      ++from;
    } else {
      appendValidUtf8(out, text, from);
    }
  }
  out += '"';
}

bool isJsonNumber(const std::string& text) {
  std::size_t at = 0;
  const auto digits = [&] {
    const std::size_t from = at;
    while (at < text.size() && std::isdigit(static_cast<unsigned char>(text[at]))) ++at;
    return at - from;
  };
  const auto skip = [&](const char* any) {
    if (at >= text.size() || std::string_view(any).find(text[at]) == std::string_view::npos) return false;
    ++at;
    return true;
  };
  skip("-");
  const bool isZero = at < text.size() && text[at] == '0';
  const std::size_t whole = digits();
  if (whole == 0 || (isZero && whole > 1)) return false;
  if (skip(".") && digits() == 0) return false;
  if (skip("eE")) {
    skip("+-");
    if (digits() == 0) return false;
  }
  return at == text.size();
}

}  // namespace zusql
