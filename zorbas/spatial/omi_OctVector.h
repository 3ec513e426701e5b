// A point or extent of the octree: three floats, no padding, cheap to copy. Comparisons are
// component-wise, so `a <= b` holds only when it holds on all three axes (a partial order, used
// for "point inside box" tests).
#pragma once

#include "companions/framework/zorbas_export.h"

class ZORBAS_API omi_OctVector {
  public:
    omi_OctVector() : m_comps{0.0f, 0.0f, 0.0f} {}
    omi_OctVector(float x, float y, float z) : m_comps{x, y, z} {}
    omi_OctVector(const float* comps) : m_comps{comps[0], comps[1], comps[2]} {}
    omi_OctVector(const omi_OctVector&) = default;
    omi_OctVector& operator=(const omi_OctVector&) = default;
    omi_OctVector& operator=(const float* comps) {
        m_comps[0] = comps[0];
        m_comps[1] = comps[1];
        m_comps[2] = comps[2];
        return *this;
    }

    float operator[](unsigned i) const { return m_comps[i]; }
    float& operator[](unsigned i) { return m_comps[i]; }
    const float* Comps() const { return m_comps; }

    omi_OctVector& operator*=(float f) {
        m_comps[0] *= f;
        m_comps[1] *= f;
        m_comps[2] *= f;
        return *this;
    }
    omi_OctVector& operator+=(const omi_OctVector& v) {
        m_comps[0] += v.m_comps[0];
        m_comps[1] += v.m_comps[1];
        m_comps[2] += v.m_comps[2];
        return *this;
    }
    omi_OctVector& operator-=(const omi_OctVector& v) {
        m_comps[0] -= v.m_comps[0];
        m_comps[1] -= v.m_comps[1];
        m_comps[2] -= v.m_comps[2];
        return *this;
    }

    float SqrMag() const {
        return m_comps[0] * m_comps[0] + m_comps[1] * m_comps[1] + m_comps[2] * m_comps[2];
    }
    // Multiplies each component by the matching integer; callers pass -1 and +1 to flip signs.
    void SetComps(const int* signs) {
        m_comps[0] *= static_cast<float>(signs[0]);
        m_comps[1] *= static_cast<float>(signs[1]);
        m_comps[2] *= static_cast<float>(signs[2]);
    }

  private:
    float m_comps[3];
};

inline bool operator<=(const omi_OctVector& a, const omi_OctVector& b) {
    return a[0] <= b[0] && a[1] <= b[1] && a[2] <= b[2];
}
inline bool operator>=(const omi_OctVector& a, const omi_OctVector& b) {
    return a[0] >= b[0] && a[1] >= b[1] && a[2] >= b[2];
}
