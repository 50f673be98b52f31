#include "attitude/rotation/AbsoluteAttitudeComputer.h"

#include <array>
#include <cmath>

#include "attitude/rotation/AngleConstants.h"

namespace Kavelin::OrientationInternal {

namespace {

Matrix3 turnAboutX(double angle) {
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    Matrix3 r;
    r << 1, 0, 0, 0, c, -s, 0, s, c;
    return r;
}

Matrix3 turnAboutY(double angle) {
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    Matrix3 r;
    r << c, 0, s, 0, 1, 0, -s, 0, c;
    return r;
}

Matrix3 turnAboutZ(double angle) {
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    Matrix3 r;
    r << c, -s, 0, s, c, 0, 0, 0, 1;
    return r;
}

enum class Product { XYZ, XZY, YXZ, YZX, ZXY, ZYX };

struct OrderRow {
    Product whenSet;
    Product whenClear;
};

constexpr std::array<OrderRow, 6> kOrders{{
    {Product::XYZ, Product::ZYX},
    {Product::XZY, Product::YZX},
    {Product::ZYX, Product::XYZ},
    {Product::YXZ, Product::ZXY},
    {Product::ZXY, Product::YXZ},
    {Product::YZX, Product::XZY},
}};

Matrix3 multiplyRightToLeft(const Matrix3& first, const Matrix3& second, const Matrix3& third) {
    return AbsoluteAttitudeComputer::multiply3x3(first, AbsoluteAttitudeComputer::multiply3x3(second, third));
}

}  // namespace

double AbsoluteAttitudeComputer::invSqrt(double x) { return 1.0 / std::sqrt(x); }

Vector3 AbsoluteAttitudeComputer::normalised(const Vector3& v) {
    const double squaredNorm = v.squaredNorm();
    if (squaredNorm >= kMinimumSquaredNorm) return v * invSqrt(squaredNorm);
    return v;
}

double AbsoluteAttitudeComputer::cosAngleBetween(const Vector3& u, const Vector3& v) {
    return normalised(u).dot(normalised(v));
}

double AbsoluteAttitudeComputer::safeAcos(double x) {
    if (x <= -1.0) return kPi;
    if (x >= 1.0) return 0.0;
    return std::acos(x);
}

double AbsoluteAttitudeComputer::unwrapAngle(double angle, double reference) {
    return angle + kTwoPi * std::ceil((reference - angle) / kTwoPi - 0.5);
}

Matrix3 AbsoluteAttitudeComputer::frameFromGravityAndField(const Vector3& acc, const Vector3& field) {
    const Vector3 up = normalised(acc);
    const Vector3 north = normalised(field - field.dot(up) * up);
    Matrix3 frame;
    frame.row(0) = north;
    frame.row(1) = up.cross(north);
    frame.row(2) = up;
    return frame;
}

Matrix3 AbsoluteAttitudeComputer::partialOrthogonalFrame(const Vector3& u, const Vector3& v, double gain) {
    const Vector3 normal = normalised(normalised(u).cross(normalised(v)));
    const double angleBetween = safeAcos(cosAngleBetween(u, v));
    const Matrix3 turn = axisAngleToRotation((kHalfPi - angleBetween) * gain, normal);
    const Vector3 turned = normalised(turn * normalised(v));
    Matrix3 frame;
    frame.row(0) = turned;
    frame.row(1) = normal;
    frame.row(2) = normalised(turned.cross(normal));
    return frame;
}

bool AbsoluteAttitudeComputer::rotationToQuaternion(const Matrix3& rotation, Quaternion& q) {
    const double trace = rotation(0, 0) + rotation(1, 1) + rotation(2, 2);
    if (trace > 0) {
        const double s = std::sqrt(trace + 1.0);
        const double k = 0.5 / s;
        q << 0.5 * s, (rotation(2, 1) - rotation(1, 2)) * k, (rotation(0, 2) - rotation(2, 0)) * k,
            (rotation(1, 0) - rotation(0, 1)) * k;
        return true;
    }
    // The largest diagonal term keeps the divisor away from 0; the first of equals is taken.
    int i = 0;
    if (rotation(1, 1) > rotation(0, 0)) i = 1;
    if (rotation(2, 2) > rotation(i, i)) i = 2;
    const int j = (i + 1) % 3;
    const int k = (j + 1) % 3;
    const double s = rotation(i, i) - rotation(j, j) - rotation(k, k) + 1.0;
    if (!(s > 0)) return false;
    const double r = std::sqrt(s);
    const double f = 0.5 / r;
    q[0] = (rotation(k, j) - rotation(j, k)) * f;
    q[1 + i] = 0.5 * r;
    q[1 + j] = (rotation(i, j) + rotation(j, i)) * f;
    q[1 + k] = (rotation(i, k) + rotation(k, i)) * f;
    return true;
}

Matrix3 AbsoluteAttitudeComputer::axisAngleToRotation(double angle, const Vector3& axis) {
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    const double oneMinusC = 1.0 - c;
    const double x = axis.x();
    const double y = axis.y();
    const double z = axis.z();
    Matrix3 r;
    r << x * x * oneMinusC + c, x * y * oneMinusC - s * z, x * z * oneMinusC + s * y,
        x * y * oneMinusC + s * z, y * y * oneMinusC + c, y * z * oneMinusC - s * x,
        x * z * oneMinusC - s * y, y * z * oneMinusC + s * x, z * z * oneMinusC + c;
    return r;
}

Matrix3 AbsoluteAttitudeComputer::multiply3x3(const Matrix3& a, const Matrix3& b) {
    Matrix3 product;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) product(r, c) = a(r, 0) * b(0, c) + a(r, 1) * b(1, c) + a(r, 2) * b(2, c);
    }
    return product;
}

void AbsoluteAttitudeComputer::eulerToRotation(unsigned order, bool flag, const Vector3& angles,
                                               Matrix3& rotation) {
    if (order >= kOrders.size()) return;
    const Matrix3 z = turnAboutZ(angles[0]);
    const Matrix3 y = turnAboutY(angles[1]);
    const Matrix3 x = turnAboutX(angles[2]);
    switch (flag ? kOrders[order].whenSet : kOrders[order].whenClear) {
        case Product::XYZ:
            rotation = multiplyRightToLeft(x, y, z);
            break;
        case Product::XZY:
            rotation = multiplyRightToLeft(x, z, y);
            break;
        case Product::YXZ:
            rotation = multiplyRightToLeft(y, x, z);
            break;
        case Product::YZX:
            rotation = multiplyRightToLeft(y, z, x);
            break;
        case Product::ZXY:
            rotation = multiplyRightToLeft(z, x, y);
            break;
        case Product::ZYX:
            rotation = multiplyRightToLeft(z, y, x);
            break;
    }
}

}  // namespace Kavelin::OrientationInternal
