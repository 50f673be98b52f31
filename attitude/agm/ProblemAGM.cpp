#include "attitude/agm/ProblemAGM.h"

#include <algorithm>
#include <cmath>

#include "settings/IniFile.h"

namespace Kavelin::OrientationInternal {

namespace {

// Below this half angle (rad) the transition to first order is exact in double precision:
// its square is under 2^-53.
constexpr double kSmallHalfAngle = 0x1p-27;

struct Square {
    double at[4][4];
};

// diagonal I + Omega(x, y, z), the matrix of the quaternion product from the right. The transition is made of
// it, not by ExponentialMap.h: the solver needs the matrix,
// and the bits of this version's results depend on its form.
Square rateMatrix(double diagonal, double x, double y, double z) {
    return {{{diagonal, -x, -y, -z}, {x, diagonal, z, -y}, {y, -z, diagonal, x}, {z, y, -x, diagonal}}};
}

void copyTo(double* const* rows, const Square& matrix) {
    for (int i = 0; i < 4; ++i) std::copy_n(matrix.at[i], 4, rows[i]);
}

// x := Phi x / |Phi x|
void moveOnUnitSphere(const Square& phi, double* x) {
    double moved[4];
    for (int i = 0; i < 4; ++i) {
        moved[i] = (phi.at[i][0] * x[0] + phi.at[i][1] * x[1]) + (phi.at[i][2] * x[2] + phi.at[i][3] * x[3]);
    }
    const double norm =
        std::sqrt((moved[0] * moved[0] + moved[1] * moved[1]) + (moved[2] * moved[2] + moved[3] * moved[3]));
    for (int i = 0; i < 4; ++i) x[i] = moved[i] / norm;
}

// A(q) g, reference to sensor frame.
void rotateToSensor(const double* q, const Eigen::Vector3d& g, double* h) {
    const double w = q[0], x = q[1], y = q[2], z = q[3];
    h[0] = (2 * (w * w + x * x) - 1) * g[0] + 2 * (x * y + w * z) * g[1] + 2 * (x * z - w * y) * g[2];
    h[1] = 2 * (x * y - w * z) * g[0] + (2 * (w * w + y * y) - 1) * g[1] + 2 * (y * z + w * x) * g[2];
    h[2] = 2 * (x * z + w * y) * g[0] + 2 * (y * z - w * x) * g[1] + (2 * (w * w + z * z) - 1) * g[2];
}

// Derivative of A(q) g by (w, x, y, z), three rows; g2 = 2 g.
void fillRotationJacobian(const double* q, const Eigen::Vector3d& g2, double* const* rows) {
    const double w = q[0], x = q[1], y = q[2], z = q[3];
    const double a = g2[0], b = g2[1], c = g2[2];
    const double values[3][4] = {
        {2 * w * a + z * b - y * c, 2 * x * a + y * b + z * c, x * b - w * c, w * b + x * c},
        {2 * w * b + x * c - z * a, y * a + w * c, x * a + 2 * y * b + z * c, y * c - w * a},
        {2 * w * c + y * a - x * b, z * a - w * b, w * a + z * b, x * a + y * b + 2 * z * c}};
    for (int i = 0; i < 3; ++i) std::copy_n(values[i], 4, rows[i]);
}

std::string sizeText(Eigen::Index rows, Eigen::Index cols) {
    return std::to_string(rows) + "x" + std::to_string(cols);
}

// Adds a message if one matrix of section "MIG" has the wrong size.
void requireSize(std::string& fault, const char* entry, const Matrix& matrix, Eigen::Index rows,
                 Eigen::Index cols) {
    if (matrix.rows() == rows && matrix.cols() == cols) return;
    fault += (fault.empty() ? "" : "; ") + std::string(entry) + " of section MIG ";
    fault += matrix.size() == 0 ? "is missing or no matrix" : "is " + sizeText(matrix.rows(), matrix.cols());
    fault += ", it must be " + sizeText(rows, cols);
}

}  // namespace

int ProblemAGM::transition(double* x, int /*n*/, int mode, double* const* F, double* const* /*G*/,
                           const double* const* u) {
    if (mode < 1) return 0;
    const double h = u[0][0] * 0.5;
    const double* const rate = u[1];
    if (mode >= 2) copyTo(F, rateMatrix(1.0, h * rate[0], h * rate[1], h * rate[2]));
    const double speed = std::sqrt(rate[0] * rate[0] + rate[1] * rate[1] + rate[2] * rate[2]);
    const double theta = speed * h;
    Square phi;
    if (theta >= kSmallHalfAngle) {
        const double factor = std::sin(theta) / speed;
        phi = rateMatrix(std::cos(theta), factor * rate[0], factor * rate[1], factor * rate[2]);
        copyTo(phiRows_, phi);
        phi_ = phiRows_;
    } else {
        for (int i = 0; i < 4; ++i) std::copy_n(F[i], 4, phi.at[i]);
        phi_ = F;
    }
    moveOnUnitSphere(phi, x);
    return 0;
}

int ProblemAGM::measurement(const double* v, int mode, double* h, double* const* H, double* const* /*G*/) {
    if (mode == 0) {
        ga_ = -Eigen::Vector3d(v[0], v[1], v[2]);
        gm_ = Eigen::Vector3d(v[3], v[4], v[5]);
        ga2_ = 2 * ga_;
        gm2_ = 2 * gm_;
    }
    if (mode < 1) return 0;
    rotateToSensor(v, ga_, h);
    rotateToSensor(v, gm_, h + 3);
    if (mode >= 2) {
        fillRotationJacobian(v, ga2_, H);
        fillRotationJacobian(v, gm2_, H + 3);
    }
    return 0;
}

bool ProblemAGM::readSettings(const std::string& fileName, bool flag) {
    IniFile file(fileName, flag);
    if (!file.read()) return false;
    AGMSettings settings;
    settings.XhatKK = file.getMatrix("MIG", "**XhatKK");
    settings.Pf = file.getMatrix("MIG", "**Pf");
    settings.Qd = file.getMatrix("MIG", "**Qd");
    settings.Rddyn = file.getMatrix("MIG", "**Rddyn");
    settings.Rdstat = file.getMatrix("MIG", "**Rdstat");
    settings.alpha_A = file.getDouble("Resolution", "alpha_A");
    settings.alpha_M = file.getDouble("Resolution", "alpha_M");
    settings.alpha_C = file.getDouble("Resolution", "alpha_C");
    settings.T_setref = file.getDouble("Resolution", "T_setref");
    settings.T_A = file.getDouble("Resolution", "T_A");
    settings.T_M = file.getDouble("Resolution", "T_M");
    settings.QCoeff = file.getDouble("Resolution", "QCoeff");
    settings_ = std::move(settings);
    return true;
}

std::string ProblemAGM::fault() const {
    std::string fault;
    const Matrix& start = settings_.XhatKK;
    if (start.rows() != 1 || start.cols() != 4) requireSize(fault, "**XhatKK", start, 4, 1);
    requireSize(fault, "**Pf", settings_.Pf, 4, 4);
    requireSize(fault, "**Qd", settings_.Qd, 4, 4);
    requireSize(fault, "**Rddyn", settings_.Rddyn, 3, 3);
    requireSize(fault, "**Rdstat", settings_.Rdstat, 3, 3);
    return fault;
}

}  // namespace Kavelin::OrientationInternal
