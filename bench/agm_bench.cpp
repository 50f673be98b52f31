// Cost of a step of the Kalman solver with the AGM model, by its two paths,
// and of the model's own share of it.
#include <benchmark/benchmark.h>

#include "attitude/agm/ProblemAGM.h"
#include "attitude/solver/KalmanSolver.h"

namespace {

using namespace Kavelin::OrientationInternal;

/// A unit that swings slowly, its accelerometer and magnetometer as its references; noise roots diagonal.
class Step {
public:
    Step() : solver_(&problem_) {
        solver_.init(4, 6);
        for (int i = 0; i < 4; ++i) S_[i][i] = 0.01, rootQ_[i][i] = 2.5e-4;
        for (int i = 0; i < 6; ++i) rootR_[i][i] = 0.7;
        run(0);
    }

    /// Puts tiny values off the diagonals, so that the solver takes its general path.
    void makeGeneral() { rootQ_[0][1] = rootR_[0][1] = 1e-200; }

    void run(int started = 1) {
        rate_[0] = -rate_[0];
        double* const S[] = {S_[0], S_[1], S_[2], S_[3]};
        const double* const rootQ[] = {rootQ_[0], rootQ_[1], rootQ_[2], rootQ_[3]};
        const double* const rootR[] = {rootR_[0], rootR_[1], rootR_[2], rootR_[3], rootR_[4], rootR_[5]};
        const double* const u[] = {&dt_, rate_};
        solver_.step({.n = 4,
                      .m = 6,
                      .x = x_,
                      .S = S,
                      .rootQ = rootQ,
                      .rootR = rootR,
                      .z = z_,
                      .zref = zref_,
                      .u = u,
                      .started = started,
                      .innovation = innovation_});
        benchmark::DoNotOptimize(x_);
    }

    void transition() {
        rate_[0] = -rate_[0];
        double* const F[] = {F_[0], F_[1], F_[2], F_[3]};
        const double* const u[] = {&dt_, rate_};
        model_->transition(x_, 4, 2, F, nullptr, u);
        benchmark::DoNotOptimize(x_);
    }

    void measurement() {
        double* const H[] = {H_[0], H_[1], H_[2], H_[3], H_[4], H_[5]};
        model_->measurement(x_, 2, innovation_, H, nullptr);
        benchmark::DoNotOptimize(H_);
    }

private:
    ProblemAGM problem_;
    Problem* model_ = &problem_;
    KalmanSolver solver_;
    double x_[4] = {1, 0, 0, 0}, S_[4][4] = {}, rootQ_[4][4] = {}, rootR_[6][6] = {}, F_[4][4], H_[6][4];
    double z_[6] = {0, 0, 9.81, 20, 0, -40}, zref_[6] = {0, 0, -9.81, 20, 0, -40}, innovation_[6];
    double dt_ = 0.005, rate_[3] = {0.3, -0.2, 0.5};
};

void general(benchmark::State& state) {
    Step step;
    step.makeGeneral();
    for (auto _ : state) step.run();
}
void diagonal(benchmark::State& state) {
    Step step;
    for (auto _ : state) step.run();
}
void transition(benchmark::State& state) {
    Step step;
    for (auto _ : state) step.transition();
}
void measurement(benchmark::State& state) {
    Step step;
    for (auto _ : state) step.measurement();
}

BENCHMARK(general)->Name("KalmanSolver/plain: general path, 4 states, 6 measurements");
BENCHMARK(diagonal)->Name("KalmanSolver/diagonal noise roots");
BENCHMARK(transition)->Name("KalmanSolver/of it the model's transition");
BENCHMARK(measurement)->Name("KalmanSolver/of it the model's measurement");

}  // namespace
