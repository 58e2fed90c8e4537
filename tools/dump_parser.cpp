// The way back from the text of `quel dump`.
#include <charconv>
#include <cstddef>
#include <istream>
#include <limits>
#include <quelcodec/quelcodec.hpp>
#include <stdexcept>
#include <string_view>

#include "tools/dump.h"
#include "tools/file_error.h"
#include "tools/frame_analyser.h"

namespace quel::tools {
namespace {

class Parser {
 public:
  Parser(std::istream& in, const std::string& name) : in_(in), name_(name) {}

  DumpedFile parse() {
    std::string line;
    const bool empty = !std::getline(in_, line);
    if (in_.bad()) throw FileError(name_, "cannot be read");
    if (empty || line != "quel-dump 1") {
      throw FileError(name_, "not a dump as quel dump writes it without --json");
    }
    while (++line_, std::getline(in_, line)) take(line);
    if (in_.bad()) throw FileError(name_, "cannot be read");
    end_frame();
    if (!frames_.empty()) refuse("the last unit lacks frames");
    file_.frame.head = unpack_head(name_, pack_head(file_.frame.head));
    return std::move(file_);
  }

 private:
  [[noreturn]] void refuse(const std::string& cause) const {
    throw FileError(name_, "line " + std::to_string(line_) + ": " + cause);
  }

  std::uint64_t number(std::string_view text, std::uint64_t highest) const {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || value > highest) {
      refuse(std::string(text) + " is not a number from 0 to " + std::to_string(highest));
    }
    return value;
  }

  std::string unescaped(std::string_view text) const {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] != '\\') {
        out += text[i];
        continue;
      }
      const char next = ++i < text.size() ? text[i] : '\0';
      if (next != '\\' && next != 'n' && next != 'r') refuse("a backslash before nothing known");
      out += next == 'n' ? '\n' : next == 'r' ? '\r' : '\\';
    }
    return out;
  }

  void take(std::string_view line) {
    const std::size_t space = line.find(' ');
    const std::string_view word = line.substr(0, space);
    const std::string_view rest =
        space == std::string_view::npos ? std::string_view{} : line.substr(space + 1);
    if (word == "indices") {
      take_indices(rest);
    } else if (word == "frame") {
      end_frame();
      if (rest.ends_with(" lost")) refuse("this frame was lost; there is nothing to write for it");
      in_frame_ = true;
    } else if (word == "comment" || word == "encoder") {
      take_tag(word, rest);
    } else if (word != "frequencies" && word != "subframe" && !line.empty()) {
      take_field(word, rest);
    }
  }

  void take_tag(std::string_view word, std::string_view rest) {
    if (word == "encoder") {
      file_.frame.tags.encoder = unescaped(rest);
      return;
    }
    try {
      add_comment(file_.frame.tags, unescaped(rest));
    } catch (const std::invalid_argument& error) {
      refuse(error.what());
    }
  }

  void take_field(std::string_view word, std::string_view rest) {
    FileFrame& frame = file_.frame;
    constexpr std::uint64_t u16 = std::numeric_limits<std::uint16_t>::max();
    constexpr std::uint64_t u32 = std::numeric_limits<std::uint32_t>::max();
    if (word == "flavor") {
      if (in_frame_ || !file_.units.empty()) refuse("the flavor after the first frame");
      frame.head.flavor = static_cast<int>(number(rest, 3));
    } else if (word == "bitstream") {
      take_bitstream(static_cast<std::uint16_t>(number(rest, u16)));
    } else if (word == "behaviour" && rest == "1") {  // what 0.1.0 called it
      take_bitstream(1);
    } else if (word == "input-rate") {
      frame.head.input_rate = static_cast<std::uint32_t>(number(rest, u32));
    } else if (word == "pre-skip") {
      frame.head.pre_skip = static_cast<std::uint16_t>(number(rest, u16));
    } else if (word == "samples") {
      frame.samples = number(rest, std::numeric_limits<std::int64_t>::max());
    } else if (word == "serial") {
      frame.serial = static_cast<std::uint32_t>(number(rest, u32));
    } else if (word == "packet-units") {
      frame.packet_units = number(rest, ogg_max_packet);
    } else if (word == "page-packets") {
      frame.page_packets = number(rest, 255);
    } else {
      refuse(std::string(word) + " means nothing here");
    }
  }

  // A dump of an unknown bitstream is refused here, since the lines that follow may be of a form
  // that is unknown too. The program that wrote it stands in one of them.
  void take_bitstream(std::uint16_t bitstream) {
    file_.frame.head.bitstream = bitstream;
    std::string encoder;
    if (bitstream != quel_bitstream()) {
      constexpr std::string_view word = "encoder ";
      for (std::string line; encoder.empty() && std::getline(in_, line);) {
        if (line.starts_with(word)) encoder = line.substr(word.size());
      }
    }
    check_bitstream(name_, file_.frame.head, encoder);
  }

  void take_indices(std::string_view rest) {
    if (!in_frame_) refuse("indices outside a frame");
    const auto widths = index_widths(file_.frame.head.flavor);
    std::vector<std::int32_t>& indices = current_.indices;
    while (!rest.empty()) {
      if (indices.size() == widths.size()) refuse("too many indices");
      const std::size_t space = rest.find(' ');
      const std::uint64_t highest = (1u << widths[indices.size()]) - 1u;
      indices.push_back(static_cast<std::int32_t>(number(rest.substr(0, space), highest)));
      rest = space == std::string_view::npos ? std::string_view{} : rest.substr(space + 1);
    }
  }

  void end_frame() {
    if (!in_frame_) return;
    in_frame_ = false;
    const int flavor = file_.frame.head.flavor;
    if (current_.indices.size() != index_widths(flavor).size()) {
      refuse("the frame before has " + std::to_string(current_.indices.size()) + " of " +
             std::to_string(index_widths(flavor).size()) + " indices");
    }
    frames_.push_back(std::move(current_));
    current_ = {};
    if (static_cast<int>(frames_.size()) < check(quel_frames_per_unit(flavor))) return;
    file_.units.push_back(pack_unit(flavor, frames_));
    frames_.clear();
  }

  std::istream& in_;
  std::string name_;
  std::uint64_t line_ = 1;
  DumpedFile file_;
  bool in_frame_ = false;
  FrameParameters current_;
  std::vector<FrameParameters> frames_;  // of the unit that is not complete
};

}  // namespace

DumpedFile parse_dump(std::istream& in, const std::string& name) {
  return Parser(in, name).parse();
}

}  // namespace quel::tools
