// A short tour of the library: builds a bounding box and an adjacency list, writes both to the
// binary and the text stream, reads them back and asks a few questions.
#include <iostream>
#include <sstream>

#include "datacarrier/adjacent.h"
#include "datacarrier/boundingbox2d.h"
#include "qvutil/binarystream.h"
#include "qvutil/textstream.h"

using nkdatacarrier::Adjacent;
using nkdatacarrier::BoundingBox2D;

int main() {
  nkbase::Prop prop;

  BoundingBox2D plate(0.0, 4.0, 0.0, 2.0);
  BinaryOSerialStream out;
  plate.serialize(out, prop);
  BinaryISerialStream in(out.getBuffer());
  BoundingBox2D back;
  back.deserialize(in);
  std::cout << "box read back from " << out.getBuffer().size() << " bytes: x " << back.getMinX()
            << ".." << back.getMaxX() << ", y " << back.getMinY() << ".." << back.getMaxY() << "\n";
  std::cout << "point (4, 1) inside: " << std::boolalpha << back.pointInside(4.0, 1.0)
            << ", touches [4,5]x[2,3]: " << back.intersects(BoundingBox2D(4.0, 5.0, 2.0, 3.0))
            << "\n";

  // Curve 0 runs from point 3 to point 7, curve 1 from point 7 back to point 3.
  Adjacent curveToPoint;
  curveToPoint.allocate(2, 4);
  curveToPoint.setAdjacent(0, std::vector<std::pair<int, int>>{{3, 1}, {7, -1}});
  curveToPoint.setAdjacent(1, std::vector<std::pair<int, int>>{{7, 1}, {3, -1}});
  std::ostringstream text;
  TextOSerialStream textOut(text);
  curveToPoint.serialize(textOut, prop);
  std::cout << "\nthe adjacency list as text:\n" << text.str();

  std::istringstream textIn(text.str());
  TextISerialStream reader(textIn);
  Adjacent copy;
  copy.deserialize(reader);
  std::cout << "\ncurve 1 ends at point " << copy.getAdjacents(1)[1] << " after reading it back\n";
  return 0;
}
