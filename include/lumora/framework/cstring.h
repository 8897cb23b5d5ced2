// A char-based CString: enough of the framework's string for captions,
// file names and messages.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>
#include <utility>

class CString {
public:
    CString() = default;
    CString(const char* text) : m_text(text ? text : "") {}
    CString(const std::string& text) : m_text(text) {}
    CString(const char* text, int length) : m_text(text ? std::string(text, static_cast<size_t>(length)) : "") {}

    const char* GetString() const { return m_text.c_str(); }
    int GetLength() const { return static_cast<int>(m_text.size()); }
    bool IsEmpty() const { return m_text.empty(); }
    void Empty() { m_text.clear(); }
    operator const char*() const { return m_text.c_str(); }
    const std::string& str() const { return m_text; }

    CString& operator=(const char* text) {
        m_text = text ? text : "";
        return *this;
    }
    CString& operator+=(const CString& other) {
        m_text += other.m_text;
        return *this;
    }
    CString& operator+=(const char* text) {
        if (text) m_text += text;
        return *this;
    }
    friend CString operator+(CString a, const CString& b) { return a += b; }
    friend CString operator+(CString a, const char* b) { return a += b; }
    friend bool operator==(const CString& a, const CString& b) { return a.m_text == b.m_text; }
    friend bool operator==(const CString& a, const char* b) { return a.m_text == (b ? b : ""); }

    void Format(const char* format, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
    {
        va_list args;
        va_start(args, format);
        va_list again;
        va_copy(again, args);
        const int n = std::vsnprintf(nullptr, 0, format, args);
        va_end(args);
        std::string out(n > 0 ? static_cast<size_t>(n) : 0, '\0');
        if (n > 0) std::vsnprintf(out.data(), out.size() + 1, format, again);
        va_end(again);
        m_text = std::move(out);
    }

private:
    std::string m_text;
};
