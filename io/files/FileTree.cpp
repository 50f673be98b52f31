#include "io/files/FileTree.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string_view>

#include "io/files/ForeignFormat.h"
#include "io/files/ZipArchive.h"

namespace Kavelin::RecordingIO {

namespace {

namespace fs = std::filesystem;

/// Whether a part of a name says that nobody recorded the file: a hidden one, the companions that macOS puts into archives.
bool isPassedOver(std::string_view part) { return part.starts_with('.') || part == "__MACOSX"; }

bool anyPartIsPassedOver(std::string_view name) {
    for (;;) {
        const std::size_t end = name.find('/');
        if (isPassedOver(name.substr(0, end))) return true;
        if (end == std::string_view::npos) return false;
        name.remove_prefix(end + 1);
    }
}

/// "folder/name", where the path may end with a slash already; the path where there is no name.
std::string joined(const std::string& path, const std::string& name) {
    if (name.empty()) return path;
    return path.ends_with('/') ? path + name : path + "/" + name;
}

class SingleFile : public FileTree {
public:
    explicit SingleFile(const std::string& path) : path_(path) {
        std::error_code unknown;
        const std::uint64_t size = fs::is_regular_file(path, unknown) ? fs::file_size(path, unknown) : 0;
        files_.push_back({path == "-" ? path : fs::path(path).filename().string(), unknown ? 0 : size});
    }
    std::string pathOf(const std::string&) const override { return path_; }
    bool isSingleFile() const override { return true; }

private:
    std::unique_ptr<ByteSource> openFile(const std::string&) const override { return openBytes(path_); }

    std::string path_;
};

class Folder : public FileTree {
public:
    explicit Folder(const std::string& path) : path_(path) {
        std::error_code error;
        root_ = fs::canonical(path, error);
        if (!error) collect(root_, "", 0);
        if (error) throw Poco::OpenFileException("cannot open '" + path + "'", error.message());
        if (!files_.empty()) return;
        throw Poco::DataFormatException(
            fmt::format("folder '{}' has no files{}", path,
                        hasForeignLinks_ ? ": links that lead out of it are not followed" : " to read"));
    }
    std::string pathOf(const std::string& name) const override { return joined(path_, name); }

private:
    std::unique_ptr<ByteSource> openFile(const std::string& name) const override {
        return openBytes(pathOf(name));
    }

    void collect(const fs::path& folder, const std::string& prefix, std::size_t depth) {
        std::error_code error;
        fs::directory_iterator entries(folder, error);
        if (error)
            throw Poco::OpenFileException("cannot open '" + joined(path_, prefix) + "'", error.message());
        for (; entries != fs::directory_iterator(); entries.increment(error)) add(*entries, prefix, depth);
        if (error)
            throw Poco::OpenFileException("cannot read '" + joined(path_, prefix) + "'", error.message());
    }

    void add(const fs::directory_entry& entry, const std::string& prefix, std::size_t depth) {
        const std::string part = entry.path().filename().string();
        if (isPassedOver(part)) return;
        const std::string name = prefix + part;
        std::error_code gone;  // meanwhile, or a link to nowhere: then it is no file
        if (entry.is_symlink(gone) && !staysInside(entry.path())) return;
        if (entry.is_regular_file(gone)) {
            if (files_.size() == kMostFiles) refuse(fmt::format("has more than {} files", kMostFiles));
            const std::uint64_t size = entry.file_size(gone);
            files_.push_back({name, gone ? 0 : size});
        } else if (entry.is_directory(gone) && !entry.is_symlink(gone)) {
            if (depth == kDeepest)
                refuse(fmt::format("goes deeper than {} folders, at '{}'", kDeepest, name));
            collect(entry.path(), name + "/", depth + 1);
        }
    }

    bool staysInside(const fs::path& link) {
        std::error_code error;
        const fs::path target = fs::canonical(link, error);
        const bool inside =
            !error &&
            std::mismatch(root_.begin(), root_.end(), target.begin(), target.end()).first == root_.end();
        hasForeignLinks_ = hasForeignLinks_ || !inside;
        return inside;
    }

    [[noreturn]] void refuse(const std::string& why) const {
        throw Poco::DataFormatException(
            fmt::format("folder '{}' {}: give the folder of one recording, or a few", path_, why));
    }

    std::string path_;
    fs::path root_;
    bool hasForeignLinks_ = false;
};

class Zip : public FileTree {
public:
    explicit Zip(const std::string& path) : path_(path), archive_(path) {
        std::vector<std::string> names;
        for (const ZipArchive::Member& member : archive_.members()) names.push_back(member.name);
        const std::string foreign = foreignArchive(names, path);
        if (!foreign.empty()) throw Poco::DataFormatException(fmt::format("'{}': {}", path, foreign));
        for (const ZipArchive::Member& member : archive_.members()) {
            if (anyPartIsPassedOver(member.name)) continue;
            files_.push_back({member.name, member.size});
            members_.emplace(member.name, member);
        }
        if (files_.empty())
            throw Poco::DataFormatException(fmt::format("'{}' is a zip archive without files to read", path));
    }
    std::string pathOf(const std::string& name) const override { return joined(path_, name); }

private:
    std::unique_ptr<ByteSource> openFile(const std::string& name) const override {
        return archive_.open(members_.at(name));
    }

    std::string path_;
    ZipArchive archive_;
    std::map<std::string, ZipArchive::Member> members_;
};

std::unique_ptr<FileTree> treeAt(const std::string& path) {
    if (canBeReadOnlyOnce(path)) return std::make_unique<SingleFile>(path);
    std::error_code unknown;
    if (fs::is_directory(path, unknown)) return std::make_unique<Folder>(path);
    if (ZipArchive::beginsLike(firstBytes(*openBytes(path), 4))) return std::make_unique<Zip>(path);
    return std::make_unique<SingleFile>(path);
}

}  // namespace

std::unique_ptr<FileTree> FileTree::at(const std::string& path) {
    std::unique_ptr<FileTree> tree = treeAt(path);
    std::sort(tree->files_.begin(), tree->files_.end(),
              [](const Entry& a, const Entry& b) { return a.name < b.name; });
    return tree;
}

std::unique_ptr<ByteSource> FileTree::openRaw(const std::string& name) const {
    const auto found =
        std::lower_bound(files_.begin(), files_.end(), name,
                         [](const Entry& entry, const std::string& key) { return entry.name < key; });
    if (found == files_.end() || found->name != name)
        throw Poco::NotFoundException(fmt::format("no file '{}'", pathOf(name)));
    return openFile(name);
}

std::unique_ptr<ByteSource> FileTree::open(const std::string& name) const {
    return recognised(openRaw(name), pathOf(name));
}

}  // namespace Kavelin::RecordingIO
