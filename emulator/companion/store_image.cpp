// Pages of a store under SQLite's interface for files. Which ones a table has is found by walking its tree, as
// https://www.sqlite.org/fileformat2.html describes it.
#include "companion/store_image.h"

#include "companion/statement.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

namespace {

using PageNumber = uint32_t;

uint32_t big_endian(const uint8_t* bytes, size_t width) {
    uint32_t value = 0;
    for (size_t i = 0; i < width; ++i)
        value = value << 8 | bytes[i];
    return value;
}

struct Link {
    PageNumber page;
    bool is_chain; // of pages that each begin with the number of the next
};

constexpr size_t smallest_page = 512;
constexpr size_t smallest_usable = 480; // of a page
constexpr size_t header_size = 100;     // of the file, at the beginning of its first page

// What a page of a tree tells of others. A page is input like any other: nothing is read beyond its end.
class TreePage {
public:
    // `usable` is what trees use of a page; from `begin` on on this one.
    TreePage(std::span<const uint8_t> usable, size_t begin) : bytes_(usable), start_(begin), kind_(bytes_[start_]) {}

    // visit(link) for each page below, and for the first of each chain of pages that a long row goes on in.
    template <typename Visit> void for_each_link(Visit visit) const {
        if (!is_inner() && !is_leaf()) return;
        if (is_inner()) visit(Link{big_endian(&bytes_[start_ + 8], 4), false});
        const size_t count = big_endian(&bytes_[start_ + 3], 2);
        const size_t places = start_ + (is_inner() ? 12 : 8);
        for (size_t i = 0; i < count && places + 2 * i + 2 <= bytes_.size(); ++i)
            visit_cell(big_endian(&bytes_[places + 2 * i], 2), visit);
    }

private:
    bool is_inner() const { return kind_ == 2 || kind_ == 5; }
    bool is_leaf() const { return kind_ == 10 || kind_ == 13; }
    bool is_of_rowids() const { return kind_ == 5 || kind_ == 13; }

    template <typename Visit> void visit_cell(size_t at, Visit visit) const {
        if (is_inner()) {
            if (at + 4 > bytes_.size()) return;
            visit(Link{big_endian(&bytes_[at], 4), false});
            at += 4;
        }
        if (is_inner() && is_of_rowids()) return; // a rowid alone
        const size_t usable = bytes_.size();
        const uint64_t length = read_varint(at);
        if (is_of_rowids()) read_varint(at);
        const uint64_t most = is_of_rowids() ? usable - 35 : (usable - 12) * 64 / 255 - 23;
        if (length <= most) return;
        const uint64_t least = (usable - 12) * 32 / 255 - 23;
        const uint64_t wanted = least + (length - least) % (usable - 4);
        const uint64_t behind = at + (wanted <= most ? wanted : least);
        if (behind + 4 <= bytes_.size()) visit(Link{big_endian(&bytes_[behind], 4), true});
    }

    uint64_t read_varint(size_t& at) const {
        uint64_t value = 0;
        for (int i = 0; i < 9 && at < bytes_.size(); ++i) {
            const uint8_t byte = bytes_[at++];
            if (i == 8) return value << 8 | byte;
            value = value << 7 | (byte & 0x7fU);
            if ((byte & 0x80U) == 0) break;
        }
        return value;
    }

    std::span<const uint8_t> bytes_;
    size_t start_;
    uint8_t kind_;
};

} // namespace

// The file of the image: the pages that were copied, zeros where the others are. It is a file system of its own.
class StoreImage::Pages {
public:
    Pages();
    ~Pages() { sqlite3_vfs_unregister(&system_); }
    Pages(const Pages&) = delete;
    Pages& operator=(const Pages&) = delete;

    const char* name() const { return system_.zName; }
    void copy(Database& origin, std::span<const char* const> tables);

private:
    struct File {
        sqlite3_file base;
        const Pages* pages;
    };
    using Header = std::array<uint8_t, header_size>;
    Header begin(Database& origin);
    void copy_tree(PageNumber root);
    void copy_chain(PageNumber first);
    const uint8_t* copy_page(PageNumber number);
    int read(uint8_t* target, size_t length, size_t at) const;

    static int open(sqlite3_vfs* of, const char* path, sqlite3_file* opened, int flags, int* flags_out);
    static const sqlite3_io_methods* methods();

    struct Tree { // of a table, or of one of its indexes
        std::string table;
        PageNumber root;
    };
    void read_roots(Database& origin);

    std::string own_name_;
    sqlite3_vfs system_;
    sqlite3_file* source_ = nullptr;
    std::vector<Tree> known_trees_;
    uint32_t known_schema_ = 0; // the number of the schema that they are of
    size_t page_size_ = 0;
    size_t usable_size_ = 0;                          // of each page
    std::vector<std::unique_ptr<uint8_t[]>> content_; // by page number - 1; null: never copied
    std::vector<uint8_t> is_current_;                 // likewise: copied by the last `copy`
    std::vector<PageNumber> open_trees_;              // pages whose links are still to be followed
};

StoreImage::Pages::Pages()
    : own_name_("image " + std::to_string(reinterpret_cast<uintptr_t>(this))), system_(*sqlite3_vfs_find(nullptr)) {
    system_.zName = own_name_.c_str();
    system_.pAppData = this;
    system_.szOsFile = sizeof(File);
    system_.pNext = nullptr;
    system_.xOpen = open;
    system_.xDelete = [](sqlite3_vfs*, const char*, int) { return SQLITE_IOERR_DELETE; };
    system_.xAccess = [](sqlite3_vfs*, const char*, int, int* answer) {
        *answer = 0; // there is no journal
        return SQLITE_OK;
    };
    system_.xFullPathname = [](sqlite3_vfs*, const char* path, int size, char* full) {
        sqlite3_snprintf(size, full, "%s", path);
        return SQLITE_OK;
    };
    sqlite3_vfs_register(&system_, 0);
}

int StoreImage::Pages::open(sqlite3_vfs* of, const char* /*unused*/, sqlite3_file* opened, int flags, int* flags_out) {
    opened->pMethods = nullptr;
    if ((flags & SQLITE_OPEN_MAIN_DB) == 0) return SQLITE_CANTOPEN;
    opened->pMethods = methods();
    reinterpret_cast<File*>(opened)->pages = static_cast<Pages*>(of->pAppData);
    if (flags_out != nullptr) *flags_out = SQLITE_OPEN_READONLY;
    return SQLITE_OK;
}

const sqlite3_io_methods* StoreImage::Pages::methods() {
    static const sqlite3_io_methods all = [] {
        sqlite3_io_methods some{};
        some.iVersion = 1;
        some.xClose = [](sqlite3_file*) { return SQLITE_OK; };
        some.xRead = [](sqlite3_file* file, void* target, int length, sqlite3_int64 at) {
            return reinterpret_cast<File*>(file)->pages->read(static_cast<uint8_t*>(target),
                                                              static_cast<size_t>(length), static_cast<size_t>(at));
        };
        some.xWrite = [](sqlite3_file*, const void*, int, sqlite3_int64) { return SQLITE_READONLY; };
        some.xTruncate = [](sqlite3_file*, sqlite3_int64) { return SQLITE_READONLY; };
        some.xSync = [](sqlite3_file*, int) { return SQLITE_OK; };
        some.xFileSize = [](sqlite3_file* file, sqlite3_int64* size) {
            const Pages* const its_pages = reinterpret_cast<File*>(file)->pages;
            *size = static_cast<sqlite3_int64>(its_pages->content_.size()) *
                    static_cast<sqlite3_int64>(its_pages->page_size_);
            return SQLITE_OK;
        };
        some.xLock = [](sqlite3_file*, int) { return SQLITE_OK; };
        some.xUnlock = [](sqlite3_file*, int) { return SQLITE_OK; };
        some.xCheckReservedLock = [](sqlite3_file*, int* answer) {
            *answer = 0;
            return SQLITE_OK;
        };
        some.xFileControl = [](sqlite3_file*, int, void*) { return SQLITE_NOTFOUND; };
        some.xSectorSize = [](sqlite3_file*) { return 4096; };
        some.xDeviceCharacteristics = [](sqlite3_file*) { return 0; };
        return some;
    }();
    return &all;
}

int StoreImage::Pages::read(uint8_t* target, size_t length, size_t at) const {
    std::memset(target, 0, length);
    while (length > 0) {
        const size_t place = page_size_ != 0 ? at / page_size_ : 0;
        if (place >= content_.size()) return SQLITE_IOERR_SHORT_READ;
        const size_t within = at - place * page_size_;
        const size_t count = std::min(length, page_size_ - within);
        if (content_[place] != nullptr) std::memcpy(target, content_[place].get() + within, count);
        target += count;
        length -= count;
        at += count;
    }
    return SQLITE_OK;
}

// Reads the header; `source` is the store's file from then on.
StoreImage::Pages::Header StoreImage::Pages::begin(Database& origin) {
    sqlite3_file_control(origin.handle(), "main", SQLITE_FCNTL_FILE_POINTER, &source_);
    Header header{};
    sqlite3_int64 size = 0;
    if (source_ == nullptr || source_->pMethods == nullptr ||
        source_->pMethods->xRead(source_, header.data(), header_size, 0) != SQLITE_OK ||
        source_->pMethods->xFileSize(source_, &size) != SQLITE_OK)
        origin.fail_as_damaged("its header cannot be read");
    const uint32_t told_size = big_endian(&header[16], 2);
    const size_t its_page_size = told_size == 1 ? 65536 : told_size;
    const size_t its_unused = header[20];
    if (its_page_size < smallest_page || (its_page_size & (its_page_size - 1)) != 0 ||
        its_page_size - its_unused < smallest_usable)
        origin.fail_as_damaged("its pages have no size");
    if (its_page_size != page_size_) content_.clear();
    page_size_ = its_page_size;
    usable_size_ = its_page_size - its_unused;
    content_.resize(static_cast<size_t>(size) / page_size_);
    is_current_.assign(content_.size(), 0);
    return header;
}

void StoreImage::Pages::read_roots(Database& origin) {
    known_trees_.clear();
    Statement rows(origin, "SELECT tbl_name, rootpage FROM sqlite_schema WHERE rootpage > 0");
    rows.for_each([&] {
        known_trees_.push_back({std::string(rows.text(0)), static_cast<PageNumber>(rows.number(1))});
    });
}

void StoreImage::Pages::copy(Database& origin, std::span<const char* const> tables) {
    const Header header = begin(origin);
    const uint32_t schema = big_endian(&header[40], 4);
    if (known_trees_.empty() || schema != known_schema_) read_roots(origin);
    known_schema_ = schema;
    copy_tree(1); // the schema
    for (const Tree& tree : known_trees_)
        if (std::find(tables.begin(), tables.end(), tree.table) != tables.end()) copy_tree(tree.root);
}

void StoreImage::Pages::copy_tree(PageNumber root) {
    open_trees_.assign(1, root);
    while (!open_trees_.empty()) {
        const PageNumber number = open_trees_.back();
        open_trees_.pop_back();
        const uint8_t* const bytes = copy_page(number);
        if (bytes == nullptr) continue;
        TreePage({bytes, usable_size_}, number == 1 ? header_size : 0).for_each_link([&](const Link& link) {
            if (link.is_chain)
                copy_chain(link.page);
            else
                open_trees_.push_back(link.page);
        });
    }
}

void StoreImage::Pages::copy_chain(PageNumber first) {
    for (const uint8_t* bytes = copy_page(first); bytes != nullptr; bytes = copy_page(big_endian(bytes, 4)))
        ;
}

// Null: there is no such page, or it was copied just before, as in a damaged store that goes in circles.
const uint8_t* StoreImage::Pages::copy_page(PageNumber number) {
    if (number == 0 || number > content_.size() || is_current_[number - 1] != 0) return nullptr;
    std::unique_ptr<uint8_t[]>& page = content_[number - 1];
    if (page == nullptr) page = std::make_unique_for_overwrite<uint8_t[]>(page_size_);
    is_current_[number - 1] = 1;
    const auto at = static_cast<sqlite3_int64>(number - 1) * static_cast<sqlite3_int64>(page_size_);
    if (source_->pMethods->xRead(source_, page.get(), static_cast<int>(page_size_), at) != SQLITE_OK)
        std::memset(page.get(), 0, page_size_); // which is no page of a tree, so that reading it fails
    return page.get();
}

StoreImage::StoreImage(Database& copied)
    : store_(copied), pages_(std::make_unique<Pages>()),
      image_(std::make_unique<Database>(Database::image(copied, pages_->name()))) {}

StoreImage::~StoreImage() = default;

void StoreImage::take(std::span<const char* const> tables) {
    pages_->copy(store_, tables);
}
