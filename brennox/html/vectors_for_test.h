// Reading the rendering fixtures in tests.
#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "core/fixtures_for_test.h"

namespace brennox::html {

struct Vector {
  std::string id;
  std::string html;
};

inline std::string fileForTest(const std::string& name) {
  std::ifstream file(fixturePath("render/" + name), std::ios::binary);
  std::stringstream content;
  content << file.rdbuf();
  return content.str();
}

// The string member `name` of a JSON object that stands on one line.
inline std::string jsonStringForTest(std::string_view line, std::string_view name) {
  const std::string start = "\"" + std::string(name) + "\":";
  std::size_t at = line.find(start);
  if (at == std::string_view::npos) {
    return {};
  }
  at = line.find('"', at + start.size()) + 1;
  std::string out;
  const auto hex = [&](std::size_t from) {
    return static_cast<unsigned>(std::stoul(std::string(line.substr(from, 4)), nullptr, 16));
  };
  const auto put = [&](unsigned byte) { out += static_cast<char>(byte); };
  for (; line[at] != '"'; ++at) {
    if (line[at] != '\\') {
      out += line[at];
      continue;
    }
    switch (line[++at]) {
      case 'n':
        out += '\n';
        break;
      case 't':
        out += '\t';
        break;
      case 'r':
        out += '\r';
        break;
      case 'b':
        out += '\b';
        break;
      case 'f':
        out += '\f';
        break;
      case 'u': {
        unsigned code = hex(at + 1);
        at += 4;
        if (code >= 0xD800 && code < 0xDC00 && line.substr(at + 1, 2) == "\\u") {
          code = 0x10000 + ((code - 0xD800) << 10) + (hex(at + 3) - 0xDC00);
          at += 6;
        }
        if (code < 0x80) {
          put(code);
        } else if (code < 0x800) {
          put(0xC0 | code >> 6);
          put(0x80 | (code & 0x3F));
        } else if (code < 0x10000) {
          put(0xE0 | code >> 12);
          put(0x80 | (code >> 6 & 0x3F));
          put(0x80 | (code & 0x3F));
        } else {
          put(0xF0 | code >> 18);
          put(0x80 | (code >> 12 & 0x3F));
          put(0x80 | (code >> 6 & 0x3F));
          put(0x80 | (code & 0x3F));
        }
        break;
      }
      default:
        out += line[at];
    }
  }
  return out;
}

inline std::vector<Vector> vectorsForTest(const std::string& name) {
  std::vector<Vector> vectors;
  std::istringstream lines(fileForTest(name));
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty()) {
      vectors.push_back({jsonStringForTest(line, "id"), jsonStringForTest(line, "html")});
    }
  }
  return vectors;
}

}  // namespace brennox::html
