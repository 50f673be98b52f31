#include "io/writing/NumpyFile.h"

#include <fmt/ranges.h>
#include <zip.h>

#include <cstring>

#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;

const CollectedTable kTable{{0, 0.5},
                            {{"3m", {}, 3, 1, {1, 2, 3, 4, 5, 6}},
                             {"R", {}, 2, 2, {1, 2, 3, 4, 5, 6, 7, 8}},
                             {"it's", {"yaw (deg)"}, 1, 1, {9, 10}}}};

/// "version header | values" of an array's bytes; the header's padding is taken off.
std::string contentOf(const std::string& bytes) {
    const auto byte = [&](std::size_t at) {
        return static_cast<std::size_t>(static_cast<unsigned char>(bytes[at]));
    };
    const std::size_t begin = byte(6) == 1 ? 10 : 12;
    std::size_t end = begin + byte(8) + 256 * byte(9);
    if (begin == 12) end += 65536 * byte(10);
    EXPECT_EQ(bytes.substr(0, 6), "\x93NUMPY");
    EXPECT_EQ(end % 64, 0u);
    EXPECT_EQ(bytes[end - 1], '\n');
    std::vector<double> values((bytes.size() - end) / 8);
    if (!values.empty()) std::memcpy(values.data(), bytes.data() + end, 8 * values.size());
    std::string header = bytes.substr(begin, end - begin - 1);
    header.erase(header.find_last_not_of(' ') + 1);
    return fmt::format("{} {} | {}", byte(6), header, fmt::join(values, " "));
}

TEST(NumpyFile, holdsARecordForEachRow) {
    const TemporaryFolder folder;
    writeNpy(kTable, folder.path("out.npy"));
    EXPECT_EQ(contentOf(folder.read("out.npy")),
              "1 {'descr': [('t', '<f8'), ('3m.x', '<f8'), ('3m.y', '<f8'), ('3m.z', '<f8'), ('R.w', '<f8'), "
              "('R.x', '<f8'), ('R.y', '<f8'), ('R.z', '<f8'), ('yaw (deg)', '<f8')], 'fortran_order': "
              "False, 'shape': (2,), } | 0 1 2 3 1 2 3 4 9 0.5 4 5 6 5 6 7 8 10");
    const std::vector<std::string> many(5000, "a column");
    writeNpy({{}, {{"x", many, 1, 5000, {}}}}, folder.path("out.npy"));
    EXPECT_THAT(contentOf(folder.read("out.npy")), testing::StartsWith("2 {'descr': [('t'"));
    writeNpy({{1}, {{"\xc3\xa4'\n", {}, 1, 1, {2}}}}, folder.path("out.npy"));
    EXPECT_EQ(contentOf(folder.read("out.npy")),
              "3 {'descr': [('t', '<f8'), ('\xc3\xa4\\'\\x0a', '<f8')], 'fortran_order': False, 'shape': "
              "(1,), } | 1 2");
}

TEST(NumpyFile, holdsAnArrayForEachPin) {
    const TemporaryFolder folder;
    writeNpz(kTable, folder.path("out.npz"));
    zip_t* const archive = zip_open(folder.path("out.npz").c_str(), ZIP_RDONLY | ZIP_CHECKCONS, nullptr);
    ASSERT_NE(archive, nullptr);
    std::string text;
    for (zip_int64_t i = 0; i < zip_get_num_entries(archive, 0); ++i) {
        std::string bytes(4096, '\0');
        zip_file_t* const member = zip_fopen_index(archive, static_cast<zip_uint64_t>(i), 0);
        bytes.resize(static_cast<std::size_t>(zip_fread(member, bytes.data(), bytes.size())));
        zip_fclose(member);
        text += zip_get_name(archive, static_cast<zip_uint64_t>(i), 0) + (" " + contentOf(bytes)) + "\n";
    }
    zip_discard(archive);
    EXPECT_EQ(text,
              "t.npy 1 {'descr': '<f8', 'fortran_order': False, 'shape': (2,), } | 0 0.5\n"
              "3m.npy 1 {'descr': '<f8', 'fortran_order': False, 'shape': (2, 3), } | 1 2 3 4 5 6\n"
              "R.npy 1 {'descr': '<f8', 'fortran_order': False, 'shape': (2, 2, 2), } | 1 2 3 4 5 6 7 8\n"
              "it's.npy 1 {'descr': '<f8', 'fortran_order': False, 'shape': (2,), } | 9 10\n");
}

}  // namespace
}  // namespace Kavelin::RecordingIO
