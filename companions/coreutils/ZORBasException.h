// The base of everything the library throws for a failure of the outside world, and the small
// exceptions of the string conversions. An exception records where it was thrown (`Throw(file,
// line)`), renders itself as text in a string mode, and re-raises itself through `Propagate`, so
// a caller holding a base reference still throws the most derived type.
#pragma once

#include "companions/alloc/mem_Malloc.h"
#include "companions/framework/zorbas_export.h"

// How a message is rendered: UTF-8 (the library's own text) or the process's locale.
enum ZORBasStringMode { ZORBasStringModeUTF8 = 0, ZORBasStringModeLocale = 1 };

class ZORBAS_API ZORBasException : public mem_AllocationOperators {
  public:
    ZORBasException() : m_file(nullptr), m_line(0) {}
    virtual ~ZORBasException();
    // The user's report is the text alone; the developer's is "<text> (code <c>, file <f>, line
    // <l>)". Both stay valid until the next report of the same object.
    virtual const char* UserReport(ZORBasStringMode mode) const;
    virtual const char* DeveloperReport(ZORBasStringMode mode) const;
    virtual const char* AsString(ZORBasStringMode mode) const = 0;
    // Throws a copy of the most derived object.
    [[noreturn]] virtual void Propagate() const = 0;
    // A new copy from the tracked heap, or null for classes that don't clone.
    virtual ZORBasException* Clone() const { return nullptr; }
    virtual int GetCode() const = 0;

    // Records the place, then raises the object through Propagate.
    [[noreturn]] void Throw(const char* file, int line);

    const char* File() const { return m_file; }
    int Line() const { return m_line; }

  protected:
    // A copy keeps the place but renders its own reports.
    ZORBasException(const ZORBasException& other) : m_file(other.m_file), m_line(other.m_line) {}
    ZORBasException& operator=(const ZORBasException& other);
    // Keeps a rendered text alive as long as the exception (report buffers are per object).
    const char* Keep(const char* text) const;

  private:
    const char* m_file;
    int m_line;
    mutable char* m_report = nullptr;
};

// An exception that carries one message text, copied at construction. The concrete classes
// below differ only in type and code.
class ZORBAS_API ZORBasMessageException : public ZORBasException {
  public:
    explicit ZORBasMessageException(const char* message);
    ZORBasMessageException(const ZORBasMessageException& other);
    ZORBasMessageException& operator=(const ZORBasMessageException&) = delete;
    ~ZORBasMessageException() override;
    const char* AsString(ZORBasStringMode) const override { return m_message; }
    const char* Message() const { return m_message; }

  protected:
    // For classes that build their text after the base is constructed.
    void SetMessage(const char* message);

  private:
    char* m_message;
};

#define ZORBAS_MESSAGE_EXCEPTION(Name, Code)                                    \
    class ZORBAS_API Name : public ZORBasMessageException {                     \
      public:                                                                   \
        explicit Name(const char* message) : ZORBasMessageException(message) {} \
        [[noreturn]] void Propagate() const override { throw Name(*this); }     \
        ZORBasException* Clone() const override { return new Name(*this); }     \
        int GetCode() const override { return Code; }                           \
    }

// A violated precondition of a public entry that reports rather than aborts.
ZORBAS_MESSAGE_EXCEPTION(ZORBasAssertException, 101);
// Text that cannot be cast to the system encoding; the message names the target ("Locale").
ZORBAS_MESSAGE_EXCEPTION(ZORBasOsStringCast, 102);
// Text in the locale encoding that cannot be converted to UTF-8; the message is the text.
ZORBAS_MESSAGE_EXCEPTION(ZORBasToUTF8Exception, 103);
// A failed conversion between the system encodings.
ZORBAS_MESSAGE_EXCEPTION(ZORBasOsStringConversion, 104);

// A regular expression whose matching failed inside the engine (not a plain mismatch). Code 201;
// the text is "Regular expression execution failed (error <n>)" with the engine's error number.
class ZORBAS_API ZORBasExecException : public ZORBasMessageException {
  public:
    explicit ZORBasExecException(int error);
    [[noreturn]] void Propagate() const override { throw ZORBasExecException(*this); }
    ZORBasException* Clone() const override { return new ZORBasExecException(*this); }
    int GetCode() const override { return 201; }
    int ErrorNumber() const { return m_error; }

  private:
    int m_error;
};

// A pattern that does not compile. Code 202; the text is "Regular expression does not compile at
// offset <n>: <detail>" with the byte offset in the pattern where the compiler stopped and its
// message.
class ZORBAS_API ZORBasPatternException : public ZORBasMessageException {
  public:
    ZORBasPatternException(int offset, const char* detail);
    [[noreturn]] void Propagate() const override { throw ZORBasPatternException(*this); }
    ZORBasException* Clone() const override { return new ZORBasPatternException(*this); }
    int GetCode() const override { return 202; }
    int Offset() const { return m_offset; }

  private:
    int m_offset;
};

// Raisers for the regex facade, which stays free of the exception classes' construction.
class ZORBAS_API ZORBasExceptionModel {
  public:
    [[noreturn]] static void throwExecException(int error);
    // `offset` is the compiler's error offset in the pattern, `detail` its error text.
    [[noreturn]] static void throwPatternException(int offset, const char* detail);
};

// True when assertions are to be reported as formal failures (test verdicts) rather than only
// printed: set the environment variable ZOR_BEX_ASSERT_FORMAL (its presence counts, not its
// value). Read once, at the first call.
ZORBAS_API bool ZORBasBexAssertFormalize();
