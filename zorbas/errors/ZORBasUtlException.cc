#include "zorbas/errors/ZORBasUtlException.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "companions/coreutils/atr_translate.h"

ZORBAS_SINGLETON_DEFINE(ZORBasUtlExcModelSingleton)

namespace {

struct SocketErrorRow {
    int code;
    const char* text;
};

// Ascending by code: searched with bsearch.
const SocketErrorRow kSocketErrors[] = {
    {10004, "WSAEINTR (10004) Interrupted function call."},
    {10013, "WSAEACCES (10013) Permission denied."},
    {10014, "WSAEFAULT (10014) Bad address."},
    {10022, "WSAEINVAL (10022) Invalid argument."},
    {10024, "WSAEMFILE (10024) Too many open files."},
    {10035, "WSAEWOULDBLOCK (10035) Resource temporarily unavailable."},
    {10036, "WSAEINPROGRESS (10036) Operation now in progress."},
    {10037, "WSAEALREADY (10037) Operation already in progress."},
    {10038, "WSAENOTSOCK (10038) Socket operation on nonsocket."},
    {10039, "WSAEDESTADDRREQ (10039) Destination address required."},
    {10040, "WSAEMSGSIZE (10040) Message too long."},
    {10041, "WSAEPROTOTYPE (10041) Protocol wrong type for socket."},
    {10042, "WSAENOPROTOOPT (10042) Bad protocol option."},
    {10043, "WSAEPROTONOSUPPORT (10043) Protocol not supported."},
    {10044, "WSAESOCKTNOSUPPORT (10044) Socket type not supported."},
    {10045, "WSAEOPNOTSUPP (10045) Operation not supported."},
    {10046, "WSAEPFNOSUPPORT (10046) Protocol family not supported."},
    {10047, "WSAEAFNOSUPPORT (10047) Address family not supported by protocol family."},
    {10048, "WSAEADDRINUSE (10048) Address already in use."},
    {10049, "WSAEADDRNOTAVAIL (10049) Cannot assign requested address."},
    {10050, "WSAENETDOWN (10050) Network is down."},
    {10051, "WSAENETUNREACH (10051) Network is unreachable."},
    {10052, "WSAENETRESET (10052) Network dropped connection on reset."},
    {10053, "WSAECONNABORTED (10053) Software caused connection abort."},
    {10054, "WSAECONNRESET (10054) Connection reset by peer."},
    {10055, "WSAENOBUFS (10055) No buffer space available."},
    {10056, "WSAEISCONN (10056) Socket is already connected."},
    {10057, "WSAENOTCONN (10057) Socket is not connected."},
    {10058, "WSAESHUTDOWN (10058) Cannot send after socket shutdown."},
    {10060, "WSAETIMEDOUT (10060) Connection timed out."},
    {10061, "WSAECONNREFUSED (10061) Connection refused."},
    {10064, "WSAEHOSTDOWN (10064) Host is down."},
    {10065, "WSAEHOSTUNREACH (10065) No route to host."},
    {10067, "WSAEPROCLIM (10067) Too many processes."},
    {10091, "WSASYSNOTREADY (10091) Network subsystem is unavailable."},
    {10092, "WSAVERNOTSUPPORTED (10092) Winsock.dll version out of range."},
    {10093, "WSANOTINITIALISED (10093) Successful WSAStartup not yet performed."},
    {10101, "WSAEDISCON (10101) Graceful shutdown in progress."},
    {10107, "WSASYSCALLFAILURE (10107) System call failure."},
    {10109, "WSATYPE_NOT_FOUND (10109) Class type not found."},
    {11001, "WSAHOST_NOT_FOUND (11001) Host not found."},
    {11002, "WSATRY_AGAIN (11002) Nonauthoritative host not found."},
    {11003, "WSANO_RECOVERY (11003) This is a nonrecoverable error."},
    {11004, "WSANO_DATA (11004) Valid name, no data record of requested type."},
};
static_assert(sizeof kSocketErrors / sizeof kSocketErrors[0] == 44);

int CompareRow(const void* key, const void* row) {
    int k = *static_cast<const int*>(key);
    int c = static_cast<const SocketErrorRow*>(row)->code;
    return k < c ? -1 : (k > c ? 1 : 0);
}

// A family text with its "%s" arguments filled through the message catalogue.
cow_String Render(const char* format, ZORBasStringMode mode, const char* first,
                  const char* second = nullptr) {
    atr_translate message(format, mode);
    atr_SubstituteFormat(message, 1, first, mode);
    if (second) atr_SubstituteFormat(message, 2, second, mode);
    return cow_String(message.Result(mode));
}

}  // namespace

omi_SystemErrorCode::omi_SystemErrorCode(ErrorCodeType type) {
    int e = errno;
    if (type == ErrorCodeRuntime) {
        m_systemCode = -1;
        m_errno = e;
    } else {
        m_systemCode = e;
        m_errno = 0;
    }
}

cow_String cow_SystemErrorCode::GetText() const {
    if (m_systemCode == -1) return cow_String(std::strerror(m_errno));
    const void* hit =
        std::bsearch(&m_systemCode, kSocketErrors, sizeof kSocketErrors / sizeof kSocketErrors[0],
                     sizeof kSocketErrors[0], CompareRow);
    if (hit) return cow_String(static_cast<const SocketErrorRow*>(hit)->text);
    return cow_String(ZORBasSystemError(m_systemCode).AsString());
}

const char* ZORBasUtlReadError::AsString(ZORBasStringMode mode) const {
    return Keep(Render("Read Error: %s", mode, m_error.AsString()).CStr());
}

const char* ZORBasUtlWriteError::AsString(ZORBasStringMode mode) const {
    return Keep(Render("Write Error: %s", mode, m_error.AsString()).CStr());
}

const char* ZORBasUtlSystemError::AsString(ZORBasStringMode mode) const {
    return Keep(Render("System Error %s: %s", mode, m_service.CStr(), m_error.AsString()).CStr());
}

const char* ZORBasUtlSystemErrorException::AsString(ZORBasStringMode mode) const {
    return Keep(Render("System Error: %s", mode, m_sec.GetText().CStr()).CStr());
}

void ZORBasUtlExcDefaultFactory::throwSystemErrorException(cow_SystemErrorCode code) {
    ZORBasUtlSystemErrorException error(code);
    error.Throw("ZORBase/ZORBasUtils.m/src/ZORBasUtlExcDefaultFactory", __LINE__);
}

ZORBasUtlExcModelSingleton::~ZORBasUtlExcModelSingleton() { delete factory; }

bool ZORBasUtlExceptionModel::setBehavior(ZORBasUtlExceptionFactory* factory) {
    ZORBasUtlExcModelSingleton& model = ZORBasUtlExcModelSingleton::Instance();
    delete model.factory;
    model.factory = factory;
    return true;
}

void ZORBasUtlExceptionModel::throwSystemErrorException(cow_SystemErrorCode code) {
    ZORBasUtlExcModelSingleton& model = ZORBasUtlExcModelSingleton::Instance();
    if (!model.factory) model.factory = new ZORBasUtlExcDefaultFactory;
    model.factory->throwSystemErrorException(code);
    // A program's factory must raise; one that returns has broken the model's contract.
    PLXFatalError("AssertionFailed:factory->throwSystemErrorException does not return", nullptr,
                  nullptr, nullptr, "ZORBase/ZORBasUtils.m/src/ZORBasUtlExceptionModel", __LINE__);
}
