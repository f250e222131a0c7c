#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <sstream>

#include "carrierfile.h"
#include "commands.h"
#include "datacarrier/cgsymboldata.h"
#include "datacarrier/impression.h"
#include "demosamples.h"
#include "qvutil/exception.h"

namespace dctool {

namespace {

// Writes `object` in both forms, reads both back, and checks that the files hold exactly the
// values written and that both forms read back alike.
bool writeAndCheck(const nkbase::Serializable& object, const std::string& dir,
                   const std::string& stem, std::ostream& out) {
  bool ok = true;
  TracingOStream written;
  nkbase::Prop prop;
  object.serialize(written, prop);
  std::vector<LoadedCarrier> loaded;
  for (Format format : {Format::Binary, Format::Text}) {
    const std::string path = dir + "/" + stem + (format == Format::Binary ? ".bin" : ".txt");
    saveCarrier(object, path, format);
    loaded.push_back(loadCarrier(path));
    Trace values;
    std::copy_if(written.trace().begin(), written.trace().end(), std::back_inserter(values),
                 [](const TraceItem& item) { return item.isValue(); });
    const Trace& read = loaded.back().values;
    bool same = read.size() == values.size();
    for (std::size_t i = 0; same && i < read.size(); ++i)
      same = read[i].sameValue(values[i]);
    out << "  " << path << ": " << std::filesystem::file_size(path) << " bytes, "
        << (same ? "read back unchanged" : "CHANGED on reading") << "\n";
    ok = ok && same;
  }
  return ok;
}

}  // namespace

int runDemo(const std::string& dir, std::ostream& out) {
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  if (ec) throw ToolError(1, dir + ": cannot create: " + ec.message());

  bool ok = true;
  for (const DemoSample& sample : demoSamples()) {
    out << sample.title << " (" << sample.object->getClassID() << ")\n";
    ok = writeAndCheck(*sample.object, dir, sample.stem, out) && ok;
    if (sample.picture) {
      const std::string svg = dir + "/" + sample.stem + ".svg";
      saveDrawingSvg(*sample.object, sample.title, svg);
      out << "  " << svg << ": a picture (open it in a browser; hover for entity numbers)\n";
    }
    if (sample.query) sample.query(out);
  }
  out << (ok ? "all samples read back unchanged\n" : "some samples changed on reading\n");
  return ok ? 0 : 1;
}

}  // namespace dctool
