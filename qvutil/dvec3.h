// A 3-vector of doubles for the arithmetic of 3D queries (plane cuts, line hits, normals).
#pragma once

#include <cmath>

namespace nkvec {

struct DVec3 {
  double x = 0.0, y = 0.0, z = 0.0;

  DVec3() = default;
  DVec3(double x_, double y_, double z_) : x(x_), y(y_), z(z_) {}

  // 0 is x, 1 is y, 2 is z.
  double& operator[](int i) { return i == 0 ? x : (i == 1 ? y : z); }
  double operator[](int i) const { return i == 0 ? x : (i == 1 ? y : z); }

  DVec3 operator+(const DVec3& o) const { return DVec3(x + o.x, y + o.y, z + o.z); }
  DVec3 operator-(const DVec3& o) const { return DVec3(x - o.x, y - o.y, z - o.z); }
  DVec3 operator*(double s) const { return DVec3(x * s, y * s, z * s); }
  DVec3 operator/(double s) const { return DVec3(x / s, y / s, z / s); }
};

inline DVec3 operator*(double s, const DVec3& v) {
  return v * s;
}
inline double dot(const DVec3& a, const DVec3& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline DVec3 cross(const DVec3& a, const DVec3& b) {
  return DVec3(a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x);
}
inline double norm(const DVec3& a) {
  return std::sqrt(dot(a, a));
}

}  // namespace nkvec
