#include "commands.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <sstream>

#include "carrierfile.h"
#include "qvutil/textstream.h"
#include "registry.h"

namespace dctool {

namespace {

bool hasFlag(const std::vector<std::string>& flags, const std::string& f) {
  return std::find(flags.begin(), flags.end(), f) != flags.end();
}

// Splits arguments into positional ones and the flags among `allowed`.
std::vector<std::string> positional(const std::vector<std::string>& args,
                                    const std::vector<std::string>& allowed,
                                    std::vector<std::string>& flags) {
  std::vector<std::string> out;
  for (const std::string& a : args) {
    if (a.size() > 1 && a[0] == '-') {
      if (!hasFlag(allowed, a)) throw UsageError("unknown option '" + a + "'");
      flags.push_back(a);
    } else {
      out.push_back(a);
    }
  }
  return out;
}

std::string dataCarrierTypeName(int type) {
  switch (type) {
    case 1:
      return "drawing object";
    case 2:
      return "geometry map";
    case 3:
      return "mesh collection";
    case 4:
      return "post-processing data";
    case 9:
      return "impression";
    default:
      return "unknown";
  }
}

// Shortest text of a float that reads back exactly; JSON has no NaN or infinity.
std::string number(float v, bool json) {
  if (json && !std::isfinite(v)) return "null";
  std::ostringstream s;
  s << std::setprecision(9) << v;
  return s.str();
}

// The same for a double.
std::string number(double v, bool json) {
  if (json && !std::isfinite(v)) return "null";
  std::ostringstream s;
  s << std::setprecision(17) << v;
  return s.str();
}

std::string jsonString(const std::string& s) {
  std::string out = "\"";
  for (unsigned char c : s) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20) {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\u%04x", c);
      out += buf;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out + "\"";
}

}  // namespace

const Command* findCommand(const std::string& name) {
  static const std::vector<Command> commands = {
      {"dump",
       "usage: dctool dump FILE\n\n"
       "Prints the whole object of a carrier file as labelled text, one value or label per\n"
       "line, nested objects indented. Values a reader does not keep are shown as read.\n",
       runDump},
      {"info",
       "usage: dctool info FILE [--json]\n\n"
       "Prints the class, the data-carrier type, the entity counts and the bounding box of a\n"
       "carrier file, and the volume and boundary area of every solid of a 3D drawing;\n"
       "--json prints the same as one JSON object.\n",
       runInfo},
      {"convert",
       "usage: dctool convert IN OUT [--text|--binary]\n\n"
       "Converts a carrier file between the binary and the text form (by default into the\n"
       "form that IN is not in). Every value is carried over bit for bit, both ways.\n",
       runConvert},
      {"svg",
       "usage: dctool svg FILE OUT.svg\n\n"
       "Draws a 2D drawing (RenderDraw2D, RenderDrawProj2D) as SVG: faces filled, curves\n"
       "stroked, points as dots, y up; hovering an entity shows its number. A sketch\n"
       "(RenderDrawEdit2D) is drawn as its edges' polylines with their control polygons\n"
       "dashed and its vertices as dots; deleted edges and vertices are left out.\n",
       runSvg},
      {"demo",
       "usage: dctool demo [DIR]\n\n"
       "Builds a small sample of every carrier class, writes each to DIR (default\n"
       "./dctool-demo) in the binary and the text form, reads each back, checks that it is\n"
       "unchanged, and runs a few selection queries.\n",
       runDemo},
  };
  const auto it = std::find_if(commands.begin(), commands.end(),
                               [&](const Command& c) { return c.name == name; });
  return it == commands.end() ? nullptr : &*it;
}

int runDump(const std::vector<std::string>& args, std::ostream& out) {
  std::vector<std::string> flags;
  const auto files = positional(args, {}, flags);
  if (files.size() != 1) throw UsageError("expects one FILE");
  const LoadedCarrier carrier = loadCarrier(files[0]);
  TextOSerialStream text(out);
  replay(labelledValues(carrier), text);
  return 0;
}

int runInfo(const std::vector<std::string>& args, std::ostream& out) {
  std::vector<std::string> flags;
  const auto files = positional(args, {"--json"}, flags);
  if (files.size() != 1) throw UsageError("expects one FILE");
  const LoadedCarrier carrier = loadCarrier(files[0]);
  Summary s;
  findCarrierClass(carrier.object->getClassID())->summarise(*carrier.object, s);
  const char axes[] = {'x', 'y', 'z'};
  if (hasFlag(flags, "--json")) {
    out << "{\"file\": " << jsonString(files[0]) << ", \"format\": \"" << formatName(carrier.format)
        << "\", \"class\": " << jsonString(s.classID);
    out << ", \"dataCarrierType\": ";
    if (s.dataCarrierType < 0) {
      out << "null";
    } else {
      out << s.dataCarrierType;
    }
    out << ", \"counts\": {";
    for (std::size_t i = 0; i < s.counts.size(); ++i) {
      out << (i ? ", " : "") << jsonString(s.counts[i].first) << ": " << s.counts[i].second;
    }
    out << "}";
    if (s.valid >= 0) out << ", \"valid\": " << (s.valid ? "true" : "false");
    if (!s.degrees.empty()) {
      out << ", \"degrees\": [";
      for (std::size_t i = 0; i < s.degrees.size(); ++i)
        out << (i ? ", " : "") << s.degrees[i];
      out << "]";
    }
    if (!s.boundingBox.empty()) {
      out << ", \"boundingBox\": {";
      for (std::size_t a = 0; a * 2 + 1 < s.boundingBox.size(); ++a) {
        out << (a ? ", " : "") << "\"" << axes[a] << "\": [" << number(s.boundingBox[2 * a], true)
            << ", " << number(s.boundingBox[2 * a + 1], true) << "]";
      }
      out << "}";
    }
    for (const auto& [name, values] : s.measures) {
      out << ", " << jsonString(name) << ": [";
      for (std::size_t i = 0; i < values.size(); ++i)
        out << (i ? ", " : "") << number(values[i], true);
      out << "]";
    }
    out << "}\n";
    return 0;
  }
  out << "file:              " << files[0] << " (" << formatName(carrier.format) << ")\n";
  out << "class:             " << s.classID << "\n";
  if (s.dataCarrierType >= 0) {
    out << "data-carrier type: " << s.dataCarrierType << " ("
        << dataCarrierTypeName(s.dataCarrierType) << ")\n";
  }
  if (!s.counts.empty()) {
    out << "entities:          ";
    for (std::size_t i = 0; i < s.counts.size(); ++i) {
      out << (i ? ", " : "") << s.counts[i].second << " " << s.counts[i].first;
    }
    out << "\n";
  }
  if (s.valid >= 0) out << "valid:             " << (s.valid ? "yes" : "no") << "\n";
  if (!s.degrees.empty()) {
    out << "degrees:           ";
    for (std::size_t i = 0; i < s.degrees.size(); ++i)
      out << (i ? ", " : "") << s.degrees[i];
    out << " (one per edge)\n";
  }
  if (!s.boundingBox.empty()) {
    out << "bounding box:      ";
    for (std::size_t a = 0; a * 2 + 1 < s.boundingBox.size(); ++a) {
      out << (a ? ", " : "") << axes[a] << " " << number(s.boundingBox[2 * a], false) << " .. "
          << number(s.boundingBox[2 * a + 1], false);
    }
    out << "\n";
  }
  for (const auto& [name, values] : s.measures) {
    out << (name + ":").append(std::max<std::size_t>(19, name.size() + 2) - name.size() - 1, ' ');
    for (std::size_t i = 0; i < values.size(); ++i)
      out << (i ? ", " : "") << number(values[i], false);
    out << "\n";
  }
  return 0;
}

int runConvert(const std::vector<std::string>& args, std::ostream& out) {
  std::vector<std::string> flags;
  const auto files = positional(args, {"--text", "--binary"}, flags);
  if (files.size() != 2) throw UsageError("expects IN and OUT");
  if (hasFlag(flags, "--text") && hasFlag(flags, "--binary")) {
    throw UsageError("--text and --binary exclude each other");
  }
  const LoadedCarrier carrier = loadCarrier(files[0]);
  Format target = carrier.format == Format::Binary ? Format::Text : Format::Binary;
  if (hasFlag(flags, "--text")) target = Format::Text;
  if (hasFlag(flags, "--binary")) target = Format::Binary;
  saveTrace(labelledValues(carrier), files[1], target);
  out << files[0] << " (" << formatName(carrier.format) << ") -> " << files[1] << " ("
      << formatName(target) << ")\n";
  return 0;
}

}  // namespace dctool
