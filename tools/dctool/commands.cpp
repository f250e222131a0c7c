#include "commands.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>

#include "carrierfile.h"
#include "qvutil/textstream.h"
#include "registry.h"

namespace dctool {

namespace {

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

// A float as a JSON number with the shortest decimal text that reads back to it; null when it
// is not finite (JSON has no NaN or infinity).
nlohmann::ordered_json jsonNumber(float v) {
  if (!std::isfinite(v)) return nullptr;
  return std::stod(number(v, false));
}

// The same for a double.
std::string number(double v, bool json) {
  if (json && !std::isfinite(v)) return "null";
  std::ostringstream s;
  s << std::setprecision(17) << v;
  return s.str();
}

}  // namespace

void runDump(const std::string& file, std::ostream& out) {
  const LoadedCarrier carrier = loadCarrier(file);
  TextOSerialStream text(out);
  replay(labelledValues(carrier), text);
}

void runInfo(const std::string& file, bool json, std::ostream& out) {
  const LoadedCarrier carrier = loadCarrier(file);
  Summary s;
  findCarrierClass(carrier.object->getClassID())->summarise(*carrier.object, s);
  const char axes[] = {'x', 'y', 'z'};
  if (json) {
    nlohmann::ordered_json j;
    j["file"] = file;
    j["format"] = formatName(carrier.format);
    j["class"] = s.classID;
    j["dataCarrierType"] = nullptr;
    if (s.dataCarrierType >= 0) j["dataCarrierType"] = s.dataCarrierType;
    j["counts"] = nlohmann::ordered_json::object();
    for (const auto& [name, count] : s.counts)
      j["counts"][name] = count;
    if (s.valid >= 0) j["valid"] = s.valid != 0;
    if (!s.degrees.empty()) j["degrees"] = s.degrees;
    if (!s.boundingBox.empty()) {
      nlohmann::ordered_json box;
      for (std::size_t a = 0; a * 2 + 1 < s.boundingBox.size(); ++a)
        box[std::string(1, axes[a])] = {jsonNumber(s.boundingBox[2 * a]),
                                        jsonNumber(s.boundingBox[2 * a + 1])};
      j["boundingBox"] = box;
    }
    for (const auto& [name, values] : s.measures) {
      nlohmann::ordered_json list = nlohmann::ordered_json::array();
      for (double v : values)
        list.push_back(std::isfinite(v) ? nlohmann::ordered_json(std::stod(number(v, false)))
                                        : nlohmann::ordered_json());
      j[name] = list;
    }
    out << j.dump() << "\n";
    return;
  }
  out << "file:              " << file << " (" << formatName(carrier.format) << ")\n";
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
}

void runConvert(const std::string& in, const std::string& outPath, const std::string& form,
                bool verbose, std::ostream& out) {
  const LoadedCarrier carrier = loadCarrier(in);
  const Format target = formatForPath(outPath, form);
  saveTrace(labelledValues(carrier), outPath, target);
  if (verbose) {
    out << in << " (" << formatName(carrier.format) << ") -> " << outPath << " ("
        << formatName(target) << ")\n";
  }
}

}  // namespace dctool
