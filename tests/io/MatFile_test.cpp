#include "io/writing/MatFile.h"

#include <fmt/ranges.h>

#include "io/files/MatLibrary.h"
#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;

/// "name rows x cols: values in the file's order", a line a variable.
std::string contentOf(const std::string& path) {
    const MatLibrary& library = matLibrary();
    mat_t* const file = library.open(path.c_str(), MAT_ACC_RDONLY);
    std::string text;
    while (matvar_t* const variable = library.readNext(file)) {
        const auto* const values = static_cast<const double*>(variable->data);
        const std::size_t count = variable->nbytes / sizeof(double);
        text += fmt::format("{} {}: {}\n", variable->name,
                            fmt::join(variable->dims, variable->dims + variable->rank, "x"),
                            fmt::join(values, values + count, " "));
        library.freeVariable(variable);
    }
    library.close(file);
    return text;
}

TEST(MatFile, holdsVariablesInTheOrderOfMatlab) {
    const TemporaryFolder folder;
    writeMat({{0, 0.5},
              {{"3m", {}, 1, 3, {1, 2, 3, 4, 5, std::nan("")}}, {"R", {}, 2, 2, {1, 2, 3, 4, 5, 6, 7, 8}}}},
             folder.path("out.mat"));
    EXPECT_EQ(contentOf(folder.path("out.mat")),
              "t 2x1: 0 0.5\n"
              "x3m 2x3: 1 4 2 5 3 nan\n"
              "R 2x2x2: 1 3 2 4 5 7 6 8\n");
    writeMat({{}, {{"q", {}, 1, 4, {}}}}, folder.path("out.mat"));
    EXPECT_EQ(contentOf(folder.path("out.mat")), "t 0x1: \nq 0x4: \n");
}

TEST(MatFile, givesNamesThatMatlabTakes) {
    EXPECT_THAT(matNames({"flag_mag_body", "3a", "a.b", "a b", "end", "T"}),
                ElementsAre("flag_mag_body", "x3a", "a_b", "a_b_2", "end_2", "T"));
    EXPECT_EQ(matNames({std::string(63, 'a')})[0].size(), 63u);
    EXPECT_THROW(matNames({std::string(64, 'a')}), Poco::InvalidArgumentException);
}

}  // namespace
}  // namespace Kavelin::RecordingIO
