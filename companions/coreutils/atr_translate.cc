#include "companions/coreutils/atr_translate.h"

#include <cstring>
#include <map>
#include <mutex>
#include <string>

namespace {
std::mutex g_catalogue_lock;
std::map<std::string, std::string>& Catalogue() {
    static std::map<std::string, std::string> catalogue;
    return catalogue;
}

char* CopyText(const char* text, size_t n) {
    auto* p = static_cast<char*>(mem_OperatorNewThrow(n + 1));
    std::memcpy(p, text, n);
    p[n] = 0;
    return p;
}
char* CopyText(const char* text) {
    return CopyText(text ? text : "", std::strlen(text ? text : ""));
}
}  // namespace

atr_translate::atr_translate(const char* key, ZORBasStringMode)
    : m_template(nullptr), m_text(nullptr), m_numbered{}, m_inOrder{}, m_inOrderCount(0) {
    std::string text = key ? key : "";
    {
        std::lock_guard<std::mutex> guard(g_catalogue_lock);
        auto it = Catalogue().find(text);
        if (it != Catalogue().end()) text = it->second;
    }
    m_template = CopyText(text.c_str(), text.size());
    m_text = CopyText(m_template);
}

atr_translate::~atr_translate() {
    mem_Free(m_template);
    mem_Free(m_text);
    for (int i = 0; i < kArgs; ++i) {
        mem_Free(m_numbered[i]);
        mem_Free(m_inOrder[i]);
    }
}

const char* atr_translate::Result(ZORBasStringMode) const { return m_text; }

void atr_translate::Register(const char* key, const char* text) {
    std::lock_guard<std::mutex> guard(g_catalogue_lock);
    Catalogue()[key ? key : ""] = text ? text : "";
}

// One pass over the template: measure, then fill. A directive without an argument stays as it is.
void atr_translate::Render() {
    char* out = nullptr;
    size_t length = 0;
    for (int pass = 0; pass < 2; ++pass) {
        size_t at = 0;
        int next = 0;
        auto emit = [&](const char* text, size_t n) {
            if (out) std::memcpy(out + at, text, n);
            at += n;
        };
        for (const char* p = m_template; *p;) {
            const char* value = nullptr;
            if (p[0] == '%' && p[1] >= '1' && p[1] <= '9') value = m_numbered[p[1] - '1'];
            if (p[0] == '%' && p[1] == 's' && next < m_inOrderCount) value = m_inOrder[next++];
            if (value) {
                emit(value, std::strlen(value));
                p += 2;
            } else {
                emit(p++, 1);
            }
        }
        if (pass == 0) {
            length = at;
            out = static_cast<char*>(mem_OperatorNewThrow(length + 1));
        }
    }
    out[length] = 0;
    mem_Free(m_text);
    m_text = out;
}

void atr_SubstituteFormat(atr_translate& message, int index, const char* value, ZORBasStringMode) {
    char** slot = nullptr;
    if (index >= 1 && index <= 9) {
        const char marker[3] = {'%', static_cast<char>('0' + index), 0};
        if (std::strstr(message.m_template, marker)) slot = &message.m_numbered[index - 1];
    }
    if (!slot) {
        if (message.m_inOrderCount == atr_translate::kArgs) return;
        slot = &message.m_inOrder[message.m_inOrderCount++];
    }
    char* fresh = CopyText(value);
    mem_Free(*slot);
    *slot = fresh;
    message.Render();
}
