// How the library raises failures of the system: a static model in front of a replaceable factory,
// the exception family with codes 303 to 308, and the text of a system error code. A program
// installs its own factory to turn system failures into its own exceptions.
#pragma once

#include "companions/coreutils/ZORBasException.h"
#include "companions/coreutils/ZORBasSystemError.h"
#include "zorbas/base/omi_Singleton.h"
#include "zorbas/cow/cow_String.h"

// A system error: the system code, or -1 when the runtime's error number (second field) counts.
enum ErrorCodeType {
    ErrorCodeSystem = 0,   // the system's last error (on this platform, errno as a system code)
    ErrorCodeRuntime = 1,  // the runtime library's errno
};

class ZORBAS_API omi_SystemErrorCode {
  public:
    explicit omi_SystemErrorCode(ErrorCodeType type);
    omi_SystemErrorCode(int systemCode, int runtimeErrno)
        : m_systemCode(systemCode), m_errno(runtimeErrno) {}
    int SystemCode() const { return m_systemCode; }
    int RuntimeErrno() const { return m_errno; }

  protected:
    int m_systemCode;
    int m_errno;
};

class ZORBAS_API cow_SystemErrorCode : public omi_SystemErrorCode {
  public:
    cow_SystemErrorCode(const omi_SystemErrorCode& code) : omi_SystemErrorCode(code) {}
    explicit cow_SystemErrorCode(ErrorCodeType type) : omi_SystemErrorCode(type) {}
    // strerror of the runtime number when the system code is -1; otherwise the socket table's
    // row for the code, or the system's own text for any other code.
    cow_String GetText() const;
};

class ZORBAS_API ZORBasUtlReadError : public ZORBasException {
  public:
    explicit ZORBasUtlReadError(ZORBasSystemError error) : m_error(error) {}
    const char* AsString(ZORBasStringMode mode) const override;
    [[noreturn]] void Propagate() const override { throw ZORBasUtlReadError(*this); }
    ZORBasException* Clone() const override { return new ZORBasUtlReadError(*this); }
    int GetCode() const override { return 303; }
    const ZORBasSystemError& GetSystemErrorCode() const { return m_error; }

  private:
    ZORBasSystemError m_error;
};

class ZORBAS_API ZORBasUtlShortRead : public ZORBasException {
  public:
    const char* AsString(ZORBasStringMode) const override {
        return "All the data requested could not be read.";
    }
    [[noreturn]] void Propagate() const override { throw ZORBasUtlShortRead(*this); }
    ZORBasException* Clone() const override { return new ZORBasUtlShortRead(*this); }
    int GetCode() const override { return 304; }
};

class ZORBAS_API ZORBasUtlSystemError : public ZORBasException {
  public:
    ZORBasUtlSystemError(const char* service, ZORBasSystemError error)
        : m_service(service ? service : ""), m_error(error) {}
    const char* AsString(ZORBasStringMode mode) const override;
    [[noreturn]] void Propagate() const override { throw ZORBasUtlSystemError(*this); }
    ZORBasException* Clone() const override { return new ZORBasUtlSystemError(*this); }
    int GetCode() const override { return 305; }
    const ZORBasSystemError& GetSystemErrorCode() const { return m_error; }
    const char* GetServiceName() const { return m_service.CStr(); }

  private:
    cow_String m_service;
    ZORBasSystemError m_error;
};

class ZORBAS_API ZORBasUtlSystemErrorException : public ZORBasException {
  public:
    explicit ZORBasUtlSystemErrorException(cow_SystemErrorCode code) : m_sec(code) {}
    const char* AsString(ZORBasStringMode mode) const override;
    [[noreturn]] void Propagate() const override { throw ZORBasUtlSystemErrorException(*this); }
    ZORBasException* Clone() const override { return new ZORBasUtlSystemErrorException(*this); }
    int GetCode() const override { return 306; }
    const cow_SystemErrorCode& GetSec() const { return m_sec; }
    const cow_SystemErrorCode& GetSystemErrorCode() const { return m_sec; }

  private:
    cow_SystemErrorCode m_sec;
};

class ZORBAS_API ZORBasUtlWriteError : public ZORBasException {
  public:
    explicit ZORBasUtlWriteError(ZORBasSystemError error) : m_error(error) {}
    const char* AsString(ZORBasStringMode mode) const override;
    [[noreturn]] void Propagate() const override { throw ZORBasUtlWriteError(*this); }
    ZORBasException* Clone() const override { return new ZORBasUtlWriteError(*this); }
    int GetCode() const override { return 307; }
    const ZORBasSystemError& GetSystemErrorCode() const { return m_error; }

  private:
    ZORBasSystemError m_error;
};

class ZORBAS_API ZORBasUtlShortWrite : public ZORBasException {
  public:
    const char* AsString(ZORBasStringMode) const override {
        return "All the data provided to write could not be written.";
    }
    [[noreturn]] void Propagate() const override { throw ZORBasUtlShortWrite(*this); }
    ZORBasException* Clone() const override { return new ZORBasUtlShortWrite(*this); }
    int GetCode() const override { return 308; }
};

// The factory behind the model; a program derives its own to raise its own exceptions.
class ZORBAS_API ZORBasUtlExceptionFactory : public mem_AllocationOperators {
  public:
    virtual ~ZORBasUtlExceptionFactory() = default;
    [[noreturn]] virtual void throwSystemErrorException(cow_SystemErrorCode code) = 0;
};

// Throws ZORBasUtlSystemErrorException with this factory's source place.
class ZORBAS_API ZORBasUtlExcDefaultFactory : public ZORBasUtlExceptionFactory {
  public:
    [[noreturn]] void throwSystemErrorException(cow_SystemErrorCode code) override;
};

// Holds the installed factory (owned).
class ZORBAS_API ZORBasUtlExcModelSingleton : public omi_Singleton<ZORBasUtlExcModelSingleton>,
                                              public mem_AllocationOperators {
  public:
    ZORBasUtlExcModelSingleton() = default;
    ~ZORBasUtlExcModelSingleton();
    ZORBasUtlExceptionFactory* factory = nullptr;
};

class ZORBAS_API ZORBasUtlExceptionModel {
  public:
    // Deletes the held factory, keeps the new one (null frees it), and answers true.
    static bool setBehavior(ZORBasUtlExceptionFactory* factory);
    [[noreturn]] static void throwSystemErrorException(cow_SystemErrorCode code);
};

ZORBAS_SINGLETON_EXTERN(ZORBasUtlExcModelSingleton)
