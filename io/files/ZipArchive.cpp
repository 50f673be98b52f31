#include "io/files/ZipArchive.h"

#include <Poco/Exception.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <zip.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <string_view>

namespace Kavelin::RecordingIO {

namespace {

struct Discard {
    void operator()(::zip_t* archive) const { ::zip_discard(archive); }
};
struct CloseMember {
    void operator()(::zip_file_t* member) const { ::zip_fclose(member); }
};
using Archive = std::unique_ptr<::zip_t, Discard>;
using OpenMember = std::unique_ptr<::zip_file_t, CloseMember>;

/// A member's name for a message: without what a terminal would obey.
std::string shown(const std::string& name) {
    std::string out = name.substr(0, 200);
    std::replace_if(
        out.begin(), out.end(), [](unsigned char c) { return std::iscntrl(c); }, '?');
    return out;
}

[[noreturn]] void refuse(const std::string& path, const std::string& member, const std::string& why) {
    throw Poco::DataFormatException(
        fmt::format("'{}': the archive is refused: member '{}' {}", path, shown(member), why));
}

Archive openArchive(const std::string& path) {
    int code = 0;
    if (::zip_t* archive = ::zip_open(path.c_str(), ZIP_RDONLY, &code)) return Archive(archive);
    ::zip_error_t error;
    ::zip_error_init_with_code(&error, code);
    // libzip reports some inconsistent directories as files that are not there.
    const std::string reason = code == ZIP_ER_NOENT ? "inconsistent directory" : ::zip_error_strerror(&error);
    ::zip_error_fini(&error);
    if (code == ZIP_ER_OPEN) throw Poco::OpenFileException("cannot open '" + path + "'", reason);
    throw Poco::DataFormatException(fmt::format("'{}' is a damaged zip archive: {}", path, reason));
}

/// A name's parts joined with '/', without "." and empty parts.  Raises where the name leads out of the archive.
std::string soundName(const std::string& path, const std::string& name) {
    if (std::any_of(name.begin(), name.end(), [](unsigned char c) { return std::iscntrl(c); }))
        refuse(path, name, "has control characters in its name");
    if (name.find('\\') != std::string::npos) refuse(path, name, "has a backslash in its name");
    const bool hasDrive = name.size() > 1 && name[1] == ':';
    if (name.starts_with('/') || hasDrive) refuse(path, name, "has an absolute path for a name");
    std::string out;
    for (std::string_view rest = name; !rest.empty();) {
        const std::size_t end = std::min(rest.find('/'), rest.size());
        const std::string_view part = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (part == "..") refuse(path, name, "has a name that leads out of the archive");
        if (part.empty() || part == ".") continue;
        out.append(out.empty() ? "" : "/").append(part);
    }
    return out;
}

/// Raises where a member is not an ordinary file, as by the modes that Unix archivers keep.
void requireOrdinary(const std::string& path, const std::string& name, ::zip_t* archive,
                     std::uint64_t index) {
    ::zip_uint8_t system = 0;
    ::zip_uint32_t attributes = 0;
    if (::zip_file_get_external_attributes(archive, index, 0, &system, &attributes) != 0) return;
    if (system != ZIP_OPSYS_UNIX && system != ZIP_OPSYS_OS_X) return;
    const ::mode_t kind = (attributes >> 16) & S_IFMT;
    if (kind == S_IFLNK) refuse(path, name, "is a symbolic link");
    if (kind != 0 && kind != S_IFREG && kind != S_IFDIR) refuse(path, name, "is not an ordinary file");
}

void requireSaneSize(const std::string& path, const std::string& name, const ::zip_stat_t& stat) {
    if (stat.size > ZipArchive::kLargestMember)
        refuse(path, name, fmt::format("would have {} bytes; at most 4 GiB are read", stat.size));
    if (stat.size > ZipArchive::kSmallAnyway && stat.size / ZipArchive::kLargestRatio >= stat.comp_size)
        refuse(path, name,
               fmt::format("would grow from {} to {} bytes, more than {} times", stat.comp_size, stat.size,
                           ZipArchive::kLargestRatio));
}

::zip_stat_t statOf(const std::string& path, ::zip_t* archive, std::uint64_t index) {
    constexpr ::zip_uint64_t kNeeded =
        ZIP_STAT_NAME | ZIP_STAT_SIZE | ZIP_STAT_COMP_SIZE | ZIP_STAT_ENCRYPTION_METHOD;
    ::zip_stat_t stat;
    ::zip_stat_init(&stat);
    if (::zip_stat_index(archive, index, 0, &stat) != 0 || (stat.valid & kNeeded) != kNeeded)
        throw Poco::DataFormatException(
            fmt::format("'{}' is a damaged zip archive: member {} of its directory", path, index + 1));
    return stat;
}

/// The decompressed bytes of one member.
class MemberSource : public ByteSource {
public:
    MemberSource(Archive archive, OpenMember member, std::string name, std::uint64_t size)
        : archive_(std::move(archive)), member_(std::move(member)), name_(std::move(name)), size_(size) {}

    std::size_t read(char* into, std::size_t size) override {
        if (ended_ || size == 0) return 0;
        const ::zip_int64_t count = ::zip_fread(member_.get(), into, size);
        if (count < 0) fail(::zip_file_strerror(member_.get()));
        read_ += static_cast<std::uint64_t>(count);
        if (read_ > size_) fail(fmt::format("it holds more than the {} bytes that it declares", size_));
        ended_ = count == 0;
        if (ended_ && read_ < size_)
            fail(fmt::format("it ends after {} of the {} bytes that it declares", read_, size_));
        return static_cast<std::size_t>(count);
    }

    std::uint64_t consumed() const override { return read_; }
    std::uint64_t total() const override { return size_; }

private:
    [[noreturn]] void fail(const std::string& why) {
        ended_ = true;
        throw Poco::ReadFileException("'" + name_ + "' is damaged", why);
    }

    Archive archive_;  // of its own: libzip's are not for several threads
    OpenMember member_;
    std::string name_;
    std::uint64_t size_;
    std::uint64_t read_ = 0;
    bool ended_ = false;
};

}  // namespace

bool ZipArchive::beginsLike(const std::string& firstBytes) {
    return firstBytes.starts_with("PK\x03\x04") || firstBytes.starts_with("PK\x05\x06");
}

ZipArchive::ZipArchive(const std::string& path) : path_(path) {
    const Archive archive = openArchive(path);
    const auto count = static_cast<std::uint64_t>(::zip_get_num_entries(archive.get(), 0));
    if (count > kMostMembers)
        throw Poco::DataFormatException(
            fmt::format("'{}': the archive is refused: it has {} members; at most {} are read", path, count,
                        kMostMembers));
    std::set<std::string> names;
    for (std::uint64_t i = 0; i < count; ++i) {
        const ::zip_stat_t stat = statOf(path, archive.get(), i);
        const std::string given = stat.name;
        Member member{soundName(path, given), stat.size, i};
        if (stat.encryption_method != ZIP_EM_NONE)
            refuse(path, given, "is encrypted: unpack the archive first");
        requireOrdinary(path, given, archive.get(), i);
        if (member.name.empty() || given.ends_with('/')) continue;  // a folder
        requireSaneSize(path, given, stat);
        if (!names.insert(member.name).second) refuse(path, given, "is there twice");
        members_.push_back(std::move(member));
    }
}

std::unique_ptr<ByteSource> ZipArchive::open(const Member& member) const {
    Archive archive = openArchive(path_);
    const std::string name = path_ + "/" + member.name;
    const ::zip_stat_t stat = statOf(path_, archive.get(), member.index);
    if (stat.size != member.size || stat.encryption_method != ZIP_EM_NONE ||
        soundName(path_, stat.name) != member.name)
        throw Poco::OpenFileException("cannot read '" + name + "'", std::string("the archive has changed"));
    OpenMember opened(::zip_fopen_index(archive.get(), member.index, 0));
    if (!opened)
        throw Poco::DataFormatException(
            fmt::format("cannot read '{}': {}", name, ::zip_strerror(archive.get())));
    return std::make_unique<MemberSource>(std::move(archive), std::move(opened), name, member.size);
}

}  // namespace Kavelin::RecordingIO
