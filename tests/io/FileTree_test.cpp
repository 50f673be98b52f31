#include "io/files/FileTree.h"

#include <sys/stat.h>
#include <zip.h>
#include <zlib.h>

#include <cstring>

#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;
namespace fs = std::filesystem;

struct Member {
    std::string name;
    std::string bytes;
    ::zip_uint32_t mode = 0;
    bool isEncrypted = false;
};

void writeZip(const std::string& path, const std::vector<Member>& members) {
    ::zip_t* archive = ::zip_open(path.c_str(), ZIP_CREATE | ZIP_TRUNCATE, nullptr);
    for (const Member& member : members) {
        ::zip_source_t* bytes = ::zip_source_buffer(archive, member.bytes.data(), member.bytes.size(), 0);
        const auto index =
            static_cast<::zip_uint64_t>(::zip_file_add(archive, member.name.c_str(), bytes, 0));
        if (member.mode)
            ::zip_file_set_external_attributes(archive, index, 0, ZIP_OPSYS_UNIX, member.mode << 16);
        if (member.isEncrypted) ::zip_file_set_encryption(archive, index, ZIP_EM_AES_256, "secret");
    }
    ASSERT_EQ(::zip_close(archive), 0) << ::zip_strerror(archive);
}

std::string all(ByteSource& source) { return firstBytes(source, 1 << 20); }

/// "name(size)=text" of every file.
std::string contents(const FileTree& tree) {
    std::string out;
    for (const FileTree::Entry& file : tree.files())
        out += file.name + "(" + std::to_string(file.size) + ")=" + all(*tree.open(file.name)) + " ";
    return out;
}

TEST(FileTree, readsAFileAFolderAndAnArchive) {
    const TemporaryFolder folder;
    fs::create_directories(folder.path("rec/meta/.cache"));
    for (const char* name : {"rec/meta/.cache/x", "rec/.hidden", "rec/meta/time.csv", "rec/a.csv"})
        folder.write(name, "t,a");
    const ::gzFile packed = ::gzopen(folder.path("rec/p.csv.gz").c_str(), "wb");
    ::gzwrite(packed, "t,p", 3);
    ::gzclose(packed);
    const std::string p = "p.csv.gz(" + std::to_string(folder.read("rec/p.csv.gz").size()) + ")=t,p ";
    fs::create_symlink("a.csv", folder.path("rec/link.csv"));
    fs::create_symlink("..", folder.path("rec/out"));
    fs::create_symlink(".", folder.path("rec/loop"));
    folder.write("secret", "s");
    fs::create_symlink("../secret", folder.path("rec/secret.csv"));
    ::mkfifo(folder.path("rec/pipe").c_str(), 0600);
    const auto tree = FileTree::at(folder.path("rec"));
    EXPECT_EQ(contents(*tree), "a.csv(3)=t,a link.csv(3)=t,a meta/time.csv(3)=t,a " + p);
    EXPECT_EQ(tree->pathOf("meta/time.csv") + tree->pathOf(""),
              folder.path("rec/meta/time.csv") + folder.path("rec"));
    EXPECT_EQ(outcome([&] { tree->open("b.csv"); }),
              "Poco::NotFoundException: no file '" + folder.path("rec/b.csv") + "'");

    writeZip(folder.path("r.zip"), {{"rec/", "", S_IFDIR | 0755},
                                    {"rec/./b.csv", std::string(1000, 'b'), S_IFREG | 0644},
                                    {"__MACOSX/rec/._b.csv", "x"},
                                    {"a.csv", "t,a"},
                                    {"p.csv.gz", folder.read("rec/p.csv.gz")}});
    auto archive = FileTree::at(folder.path("r.zip"));
    EXPECT_EQ(contents(*archive), "a.csv(3)=t,a " + p + "rec/b.csv(1000)=" + std::string(1000, 'b') + " ");
    EXPECT_EQ(archive->pathOf("a.csv"), folder.path("r.zip/a.csv"));
    const auto first = archive->open("a.csv"), second = archive->open("a.csv");
    archive.reset();
    EXPECT_EQ(all(*first) + all(*second), "t,at,a");

    const auto file = FileTree::at(folder.path("rec/a.csv"));
    EXPECT_EQ(contents(*file) + file->pathOf("a.csv"), "a.csv(3)=t,a " + folder.path("rec/a.csv"));
    EXPECT_TRUE(file->isSingleFile());
    EXPECT_TRUE(FileTree::at("-")->isSingleFile());
    EXPECT_TRUE(FileTree::at(folder.path("rec/pipe"))->isSingleFile());
    EXPECT_EQ(outcome([&] { FileTree::at(folder.path("x")); }),
              "Poco::FileNotFoundException: no file '" + folder.path("x") + "'");
}

TEST(FileTree, refusesWhatIsNoRecordingsFolder) {
    const TemporaryFolder folder;
    fs::create_directories(folder.path("empty/.git"));
    fs::create_symlink("/etc/passwd", folder.path("empty/link"));
    EXPECT_THAT(outcome([&] { FileTree::at(folder.path("empty")); }), HasSubstr("links that lead out of it"));
    fs::create_directories(folder.path("deep/1/2/3/4/5"));
    EXPECT_THAT(outcome([&] { FileTree::at(folder.path("deep")); }),
                HasSubstr("goes deeper than 4 folders, at '1/2/3/4/5'"));
}

TEST(FileTree, refusesArchivesThatAreNotToBeTrusted) {
    const struct {
        const char* rule;
        Member member;
        const char* message;
    } rows[] = {
        {"climbs", {"a/../../b", "x"}, "'a/../../b' has a name that leads out of the archive"},
        {"climbs in a hidden name", {".a/../b", "x"}, "'.a/../b' has a name that leads out"},
        {"absolute", {"/etc/passwd", "x"}, "'/etc/passwd' has an absolute path"},
        {"a drive", {"C:x", "x"}, "'C:x' has an absolute path"},
        {"backslashes", {"a\\..\\b", "x"}, "has a backslash"},
        {"a name of two lines", {"a\nb", "x"}, "'a?b' has control characters"},
        {"a link", {"l", "/etc/passwd", S_IFLNK | 0777}, "'l' is a symbolic link"},
        {"a device", {"d", "", S_IFCHR | 0666}, "'d' is not an ordinary file"},
        {"encrypted", {"e.csv", "t,a", 0, true}, "'e.csv' is encrypted"},
        {"a bomb", {"zeros", std::string(120'000'000, '\0')}, "'zeros' would grow from 116"},
        {"twice", {"./ok.csv", "x"}, "'./ok.csv' is there twice"},
    };
    const TemporaryFolder folder;
    for (const auto& row : rows) {
        writeZip(folder.path("r.zip"), {{"ok.csv", "t,a"}, row.member});
        const std::string said = outcome([&] { FileTree::at(folder.path("r.zip")); });
        EXPECT_THAT(said, HasSubstr("DataFormatException: '" + folder.path("r.zip"))) << row.rule;
        EXPECT_THAT(said, HasSubstr(row.message)) << row.rule;
    }
    writeZip(folder.path("many.zip"), std::vector<Member>{});
    std::vector<Member> many;
    for (int i = 0; i <= 10'000; ++i) many.push_back({std::to_string(i), ""});
    writeZip(folder.path("many.zip"), many);
    EXPECT_THAT(outcome([&] { FileTree::at(folder.path("many.zip")); }), HasSubstr("it has 10001 members"));
}

/// Replaces every occurrence of a little-endian number: in the local header and in the directory.
std::string withNumber(std::string bytes, std::uint32_t old, std::uint32_t now) {
    for (std::size_t i = 0; i + 4 <= bytes.size(); ++i)
        if (std::memcmp(bytes.data() + i, &old, 4) == 0) std::memcpy(bytes.data() + i, &now, 4);
    return bytes;
}

TEST(FileTree, tellsADamagedArchive) {
    const TemporaryFolder folder;
    writeZip(folder.path("r.zip"), {{"a.csv", std::string(3000, 'a')}});
    const std::string sound = folder.read("r.zip");
    std::string flipped = sound;
    flipped[40] = static_cast<char>(flipped[40] ^ 0x55);
    const struct {
        const char* rule;
        std::string bytes;
        const char* message;
    } rows[] = {
        {"cut", sound.substr(0, sound.size() - 30), "is a damaged zip archive"},
        {"data changed", flipped, "r.zip/a.csv' is damaged"},
        {"more than declared", withNumber(sound, 3000, 2000),
         "it holds more than the 2000 bytes that it declares"},
        {"less than declared", withNumber(sound, 3000, 4000), "r.zip/a.csv' is damaged"},
    };
    for (const auto& row : rows) {
        folder.write("r.zip", row.bytes);
        EXPECT_THAT(outcome([&] { contents(*FileTree::at(folder.path("r.zip"))); }), HasSubstr(row.message))
            << row.rule;
    }
}

}  // namespace
}  // namespace Kavelin::RecordingIO
