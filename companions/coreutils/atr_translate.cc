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

char* CopyText(const std::string& text) {
    auto* p = static_cast<char*>(mem_OperatorNewThrow(text.size() + 1));
    std::memcpy(p, text.c_str(), text.size() + 1);
    return p;
}
}  // namespace

atr_translate::atr_translate(const char* key, ZORBasStringMode) {
    std::string text = key ? key : "";
    {
        std::lock_guard<std::mutex> guard(g_catalogue_lock);
        auto it = Catalogue().find(text);
        if (it != Catalogue().end()) text = it->second;
    }
    m_text = CopyText(text);
}

atr_translate::~atr_translate() { mem_Free(m_text); }

const char* atr_translate::Result(ZORBasStringMode) const { return m_text; }

void atr_translate::Register(const char* key, const char* text) {
    std::lock_guard<std::mutex> guard(g_catalogue_lock);
    Catalogue()[key ? key : ""] = text ? text : "";
}

void atr_SubstituteFormat(atr_translate& message, int index, const char* value, ZORBasStringMode) {
    std::string text = message.m_text;
    std::string with = value ? value : "";
    bool numbered = false;
    if (index >= 1 && index <= 9) {
        const char marker[3] = {'%', static_cast<char>('0' + index), 0};
        for (size_t at = text.find(marker); at != std::string::npos;
             at = text.find(marker, at + with.size())) {
            text.replace(at, 2, with);
            numbered = true;
        }
    }
    if (!numbered) {
        size_t at = text.find("%s");
        if (at == std::string::npos) return;
        text.replace(at, 2, with);
    }
    mem_Free(message.m_text);
    message.m_text = CopyText(text);
}
