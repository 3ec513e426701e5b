// rgx_split and rgx_subn with fixed patterns on random subjects, each checked against a plain
// model of the same rules after every input: split drops leading and repeated separators and keeps
// a trailing empty field; subn expands the replacement once, from the first match.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "zorbas/text/rgx_Regex.h"

namespace {

void Check(bool ok, const char* what, const std::string& text) {
    if (ok) return;
    std::fprintf(stderr, "invariant failed: %s for '%s'\n", what, text.c_str());
    std::abort();
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::vector<std::string> ModelSplit(const std::string& t) {
    std::vector<std::string> fields;
    size_t at = 0, comma;
    bool matched = false;
    while ((comma = t.find(',', at)) != std::string::npos) {
        matched = true;
        if (comma > at) fields.push_back(t.substr(at, comma - at));
        at = comma + 1;
    }
    if (!matched) return {t};
    fields.push_back(t.substr(at));
    return fields;
}

std::string ModelSubn(const std::string& t, int count) {
    size_t first = 0;
    while (first < t.size() && !IsDigit(t[first])) ++first;
    if (first == t.size() || count < 1) return t;
    size_t end = first;
    while (end < t.size() && IsDigit(t[end])) ++end;
    const std::string expanded = "<" + t.substr(first, end - first) + ">";
    std::string out;
    size_t at = 0;
    for (int n = 0; n < count; ++n) {
        size_t s = at;
        while (s < t.size() && !IsDigit(t[s])) ++s;
        if (s == t.size()) break;
        size_t e = s;
        while (e < t.size() && IsDigit(t[e])) ++e;
        out += t.substr(at, s - at) + expanded;
        at = e;
    }
    return out + t.substr(at);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    const int count = data[0] % 8 - 1;
    std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
    for (char& c : text)
        if (c == '\0') c = ' ';
    const cow_String subject(text.c_str());

    cow_List<cow_String> pieces = rgx_split(",", subject);
    std::vector<std::string> model = ModelSplit(text);
    Check(pieces.Length() == static_cast<int>(model.size()), "split: number of fields", text);
    for (int i = 0; i < pieces.Length(); ++i)
        Check(model[static_cast<size_t>(i)] == pieces.ConstGet(i).CStr(), "split: a field", text);
    std::string joined;
    for (size_t i = 0; i < model.size(); ++i) joined += (i ? "," : "") + model[i];
    Check(joined == rgx_join(pieces, ",").CStr(), "join gives back the fields", text);

    Check(ModelSubn(text, count) == rgx_subn("[0-9]+", "<$&>", subject, count).CStr(),
          "subn of digit runs", text);
    // Whitespace runs, each tail on its own: the text with every run turned into one blank.
    cow_String squeezed = rgx_subn("[ \\t]+", " ", subject, 1 << 30);
    Check(squeezed.Find("  ") < 0, "subn leaves no double blank", text);
    return 0;
}
