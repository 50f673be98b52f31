#include "attitude/agm/ProblemAGM_v8.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "attitude/rotation/ExponentialMap.h"
#include "settings/IniFile.h"

namespace Kavelin::OrientationInternal {

namespace {

// Three rows of h and, where H is given, of its Jacobian; zeros for a sensor that is left out.
void predict(const double* q, const Eigen::Vector3d& r, bool used, double* h, double* const* H) {
    Eigen::Map<Eigen::Vector3d> prediction(h);
    if (!used) {
        prediction.setZero();
        for (int i = 0; H && i < 3; ++i) std::fill_n(H[i], 4, 0.0);
        return;
    }
    const double w = q[0];
    const Eigen::Vector3d v(q[1], q[2], q[3]);
    const double along = v.dot(r);
    const Eigen::Vector3d byW = w * r - v.cross(r);
    prediction = (w * byW - w * v.cross(r)) + (2.0 * along * v - v.squaredNorm() * r);
    if (!H) return;
    const double crossMatrix[3][3] = {{0.0, -r[2], r[1]}, {r[2], 0.0, -r[0]}, {-r[1], r[0], 0.0}};
    for (int i = 0; i < 3; ++i) {
        H[i][0] = 2.0 * byW[i];
        for (int k = 0; k < 3; ++k) {
            H[i][k + 1] = 2.0 * (v[i] * r[k] - r[i] * v[k] + w * crossMatrix[i][k]);
        }
        H[i][i + 1] += 2.0 * along;
    }
}

// Matrix of the product with p from the right: q p = M(p) q.
void fillProductMatrix(const Eigen::Quaterniond& p, double* const* rows) {
    const double w = p.w(), x = p.x(), y = p.y(), z = p.z();
    const double values[4][4] = {{w, -x, -y, -z}, {x, w, z, -y}, {y, -z, w, x}, {z, y, -x, w}};
    for (int i = 0; i < 4; ++i) std::copy_n(values[i], 4, rows[i]);
}

}  // namespace

int ProblemAGM_v8::transition(double* x, int /*n*/, int mode, double* const* F, double* const* /*G*/,
                              const double* const* u) {
    if (mode < 1) return 0;
    const double dt = u[0][0];
    const Eigen::Quaterniond turn =
        quaternionFromRotationVector(dt * Eigen::Vector3d(u[1][0], u[1][1], u[1][2]));
    if (mode >= 2) fillProductMatrix(turn, F);
    const Eigen::Quaterniond q = Eigen::Quaterniond(x[0], x[1], x[2], x[3]) * turn;
    const double scale = 1.0 / q.norm();
    x[0] = scale * q.w();
    x[1] = scale * q.x();
    x[2] = scale * q.y();
    x[3] = scale * q.z();
    return 0;
}

int ProblemAGM_v8::measurement(const double* v, int mode, double* h, double* const* H, double* const* /*G*/) {
    if (mode == 0) {
        aRef_ = Eigen::Map<const Eigen::Vector3d>(v);
        mRef_ = Eigen::Map<const Eigen::Vector3d>(v + 3);
    }
    if (mode < 1) return 0;
    predict(v, aRef_, useAccelerometer_, h, mode >= 2 ? H : nullptr);
    predict(v, mRef_, useMagnetometer_, h + 3, mode >= 2 ? H + 3 : nullptr);
    return 0;
}

void ProblemAGM_v8::measureWith(bool accelerometer, bool magnetometer) {
    useAccelerometer_ = accelerometer;
    useMagnetometer_ = magnetometer;
}

bool ProblemAGM_v8::readSettings(const std::string& fileName, bool flag) {
    if (!ProblemAGM::readSettings(fileName, flag)) return false;
    IniFile file(fileName, flag);
    if (!file.read()) return false;
    AGMSettings_v8 further;
    further.Rdstat_A = file.getDouble("Resolution", "Rdstat_A");
    further.Rdyn0_A = file.getDouble("Resolution", "Rdyn0_A");
    further.Rddyn_A = file.getDouble("Resolution", "Rddyn_A");
    further.Rdstat_M = file.getDouble("Resolution", "Rdstat_M");
    further.Rdyn0_M = file.getDouble("Resolution", "Rdyn0_M");
    further.Rddyn_M = file.getDouble("Resolution", "Rddyn_M");
    further.tau_B = file.getDouble("Resolution", "tau_B");
    further.T_ref = file.getDouble("Resolution", "T_ref");
    further_ = further;
    return true;
}

std::string ProblemAGM_v8::fault() const {
    std::string fault;
    const auto add = [&fault](const std::string& what) { fault += (fault.empty() ? "" : "; ") + what; };
    const auto require = [&add](const char* entry, double value, bool aboveZero) {
        if (std::isfinite(value) && (aboveZero ? value > 0.0 : value >= 0.0)) return;
        std::ostringstream number;
        number << value;
        add(std::string(entry) + " is " + number.str() +
            (aboveZero ? ", it must be above 0" : ", it must not be below 0"));
    };
    if (settings_.Qd.size() == 0) add("**Qd of section MIG is missing or no matrix, it must be 4x4");
    if (settings_.Qd.size() > 0)
        require("the first element of **Qd of section MIG", settings_.Qd(0, 0), false);
    require("Rdstat_A of section Resolution", further_.Rdstat_A, true);
    require("Rdyn0_A of section Resolution", further_.Rdyn0_A, false);
    require("Rddyn_A of section Resolution", further_.Rddyn_A, false);
    require("Rdstat_M of section Resolution", further_.Rdstat_M, true);
    require("Rdyn0_M of section Resolution", further_.Rdyn0_M, false);
    require("Rddyn_M of section Resolution", further_.Rddyn_M, false);
    require("tau_B of section Resolution", further_.tau_B, true);
    require("T_ref of section Resolution", further_.T_ref, false);
    return fault;
}

}  // namespace Kavelin::OrientationInternal
