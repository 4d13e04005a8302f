#include <algorithm>
#include <array>
#include <cmath>

#include <ondrix/platform/software/PlaneSetup.h>

namespace ondrix::software {

namespace {

using shading::Plane;

struct Vector {
    double x = 0, y = 0, z = 0;
};

Vector cross(const Vector& a, const Vector& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

double dot(const Vector& a, const Vector& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

/// The plane with these slopes through `value` at the position (x, y), moved to pixel centres. The last 0 turns -0 into
/// 0.
Plane through(double value, double x, double y, double dx, double dy) {
    return {std::fma(dx, 0.5 - x, std::fma(dy, 0.5 - y, value)), dx + 0.0, dy + 0.0};
}

bool allEqualW(const float* const* vertices, int count) {
    for (int index = 1; index < count; ++index) {
        if (vertices[index][3] != vertices[0][3]) return false;
    }
    return true;
}

}  // namespace

void PlaneSetup::set(shading::FragmentTask& task, const float* const* vertices, int count) const noexcept {
    task.perspective = allEqualW(vertices, count) ? 0 : 1;
    task.inverseW = {1, 0, 0};
    const bool found =
        count > 1 && (task.perspective != 0 ? setPerspective(task, vertices, count) : setAffine(task, vertices, count));
    if (!found) setConstant(task, vertices[0]);
}

void PlaneSetup::setConstant(shading::FragmentTask& task, const float* vertex) const noexcept {
    task.perspective = 0;
    for (int component = 0; component < components_; ++component) {
        task.planes[component] = {vertex[4 + component], 0, 0};
    }
}

bool PlaneSetup::setAffine(shading::FragmentTask& task, const float* const* vertices, int count) const noexcept {
    struct Corner {
        double x, y;
        const float* values;
    };
    std::array<Corner, 3> corners{};
    for (int index = 0; index < count; ++index) {
        const float* v = vertices[index];
        const double w = v[3];
        corners[static_cast<std::size_t>(index)] = {v[0] / w * halfWidth_ + halfWidth_,
                                                    halfHeight_ - v[1] / w * halfHeight_, v + 4};
    }
    // The corner nearest to the target's origin comes first: the fewer steps the base is away, the less they round it.
    const auto nearest = std::min_element(
        corners.begin(), corners.begin() + count,
        [](const Corner& a, const Corner& b) { return std::abs(a.x) + std::abs(a.y) < std::abs(b.x) + std::abs(b.y); });
    std::rotate(corners.begin(), nearest, corners.begin() + count);
    const auto& [a, b, c] = corners;
    const double bx = b.x - a.x, by = b.y - a.y;
    const double cx = count == 3 ? c.x - a.x : -by;  // a line gets a third corner at right angles to it
    const double cy = count == 3 ? c.y - a.y : bx;
    const double area = bx * cy - by * cx;
    if (area == 0 || !std::isfinite(area)) return false;
    for (int component = 0; component < components_; ++component) {
        const double value = a.values[component];
        const double toB = b.values[component] - value;
        const double toC = count == 3 ? c.values[component] - value : 0.0;
        task.planes[component] = through(value, a.x, a.y, (toB * cy - toC * by) / area, (toC * bx - toB * cx) / area);
    }
    return true;
}

/// With positions (x, y, w) in pixels times w, the plane p of a value a divided by w has p * position = a at each
/// vertex, also at those behind the eye.
bool PlaneSetup::setPerspective(shading::FragmentTask& task, const float* const* vertices, int count) const noexcept {
    std::array<Vector, 3> positions;
    for (int index = 0; index < count; ++index) {
        const float* v = vertices[index];
        const double x = v[0], y = v[1], w = v[3];
        positions[static_cast<std::size_t>(index)] = {(x + w) * halfWidth_, (w - y) * halfHeight_, w};
    }
    if (count == 2) {  // values of a line don't change at right angles to it
        const Vector line = cross(positions[0], positions[1]);
        positions[2] = {line.x, line.y, 0};
    }
    const std::array<Vector, 3> normals = {cross(positions[1], positions[2]), cross(positions[2], positions[0]),
                                           cross(positions[0], positions[1])};
    const double determinant = dot(positions[0], normals[0]);
    if (determinant == 0 || !std::isfinite(determinant)) return false;
    const auto solve = [&](double a0, double a1, double a2) {
        const double dx = (a0 * normals[0].x + a1 * normals[1].x + a2 * normals[2].x) / determinant;
        const double dy = (a0 * normals[0].y + a1 * normals[1].y + a2 * normals[2].y) / determinant;
        const double origin = (a0 * normals[0].z + a1 * normals[1].z + a2 * normals[2].z) / determinant;
        return through(origin, 0, 0, dx, dy);
    };
    task.inverseW = solve(1, 1, count == 3 ? 1 : 0);
    for (int component = 0; component < components_; ++component) {
        task.planes[component] = solve(vertices[0][4 + component], vertices[1][4 + component],
                                       count == 3 ? vertices[2][4 + component] : 0.0);
    }
    return true;
}

bool PlaneSetup::agree(const shading::FragmentTask& a, const shading::FragmentTask& b, std::int32_t x0, std::int32_t x1,
                       std::int32_t y0, std::int32_t y1) const noexcept {
    if (a.perspective != b.perspective) return false;
    const auto same = [&](const Plane& p, const Plane& q) {
        double largest = 0, difference = 0;
        for (const double x : {double(x0), double(x1 - 1)}) {
            for (const double y : {double(y0), double(y1 - 1)}) {
                const double value = p.base + x * p.dx + y * p.dy;
                const double other = q.base + x * q.dx + y * q.dy;
                if (!std::isfinite(value) || !std::isfinite(other)) return false;
                largest = std::max(largest, std::abs(value));
                difference = std::max(difference, std::abs(value - other));
            }
        }
        return difference <= largest * 0x1p-40;
    };
    if (a.perspective != 0 && components_ > 0 && !same(a.inverseW, b.inverseW)) return false;
    for (int component = 0; component < components_; ++component) {
        if (!same(a.planes[component], b.planes[component])) return false;
    }
    return true;
}

}  // namespace ondrix::software
