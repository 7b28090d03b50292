#include "backends/kqmsg/kqmsg_catalogs.h"

#include <unicode/ustring.h>

#include <filesystem>
#include <new>

namespace kqmsg {

namespace {

void toUtf8(UChar const *text, int32_t length, std::string *utf8) {
    utf8->resize(static_cast<std::size_t>(length) * 3);  // the most a UTF-16 unit becomes
    int32_t bytes = 0;
    UErrorCode status = U_ZERO_ERROR;
    u_strToUTF8(utf8->data(), static_cast<int32_t>(utf8->size()), &bytes, text, length, &status);
    utf8->resize(U_SUCCESS(status) ? static_cast<std::size_t>(bytes) : 0);
}

// Never a bundle of another locale, however near: that is the caller's choice. ICU remembers for
// the life of the process what it did not find, so only files that exist are asked for.
Bundle open(std::string const &folder, std::string const &locale) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(folder + "/" + locale + ".res", error)) return nullptr;
    UErrorCode status = U_ZERO_ERROR;
    Bundle bundle(ures_openDirect(folder.c_str(), locale.c_str(), &status));
    if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
    return U_SUCCESS(status) ? std::move(bundle) : nullptr;
}

}  // namespace

bool Catalogs::find(std::string const &folder, std::string const &locale, int number,
                    std::string *text) {
    UResourceBundle const *const source = bundle(folder, locale);
    if (source == nullptr) return false;
    std::string key = "m";
    key += std::to_string(number);
    int32_t length = 0;
    UErrorCode status = U_ZERO_ERROR;
    UChar const *const found = ures_getStringByKey(source, key.c_str(), &length, &status);
    if (status == U_MEMORY_ALLOCATION_ERROR) throw std::bad_alloc();
    if (U_FAILURE(status)) return false;
    toUtf8(found, length, text);
    return true;
}

UResourceBundle *Catalogs::bundle(std::string const &folder, std::string const &locale) {
    auto const key = std::make_pair(folder, locale);
    auto const known = bundles_.find(key);
    if (known != bundles_.end()) return known->second.get();
    return bundles_.emplace(key, open(location_ + "/" + folder, locale)).first->second.get();
}

}  // namespace kqmsg
