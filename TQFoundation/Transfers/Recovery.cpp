#include "TQFoundation/Transfers/Recovery.h"

#include <algorithm>
#include <iterator>

namespace tq {
namespace {

struct Rule {
  std::int64_t code;
  Recovery recovery;
};

// What fails for good (a bad URL, too many redirects, a cancel) is in no table.
constexpr Rule kTransferRules[] = {
    {NSURLErrorUnknown, Recovery::later},
    {NSURLErrorTimedOut, Recovery::later},
    {NSURLErrorCannotFindHost, Recovery::later},
    {NSURLErrorCannotConnectToHost, Recovery::later},
    {NSURLErrorNetworkConnectionLost, Recovery::now},
    {NSURLErrorNotConnectedToInternet, Recovery::whenNetworkReturns},
    {NSURLErrorBadServerResponse, Recovery::later},
    {NSURLErrorSecureConnectionFailed, Recovery::later},
    {NSURLErrorServerCertificateUntrusted, Recovery::needsUser},
};
constexpr Rule kFileRules[] = {
    {NSFileWriteOutOfSpaceError, Recovery::whenSpaceReturns},
    {NSFileWriteNoPermissionError, Recovery::needsUser},
    {NSFileWriteVolumeReadOnlyError, Recovery::needsUser},
};
constexpr Rule kStatusRules[] = {
    {401, Recovery::needsUser}, {403, Recovery::needsUser}, {407, Recovery::needsUser},
    {408, Recovery::later},     {425, Recovery::later},     {429, Recovery::later},
};

template <std::size_t count>
Recovery find(const Rule (&rules)[count], std::int64_t code) {
  const auto* const rule = std::find_if(std::begin(rules), std::end(rules),
                                        [code](const Rule& each) { return each.code == code; });
  return rule == std::end(rules) ? Recovery::never : rule->recovery;
}

}  // namespace

Recovery recoveryOf(const std::optional<NSError>& error, const std::optional<NSHTTPURLResponse>& response) {
  if (error && error->domain == NSURLErrorDomain) return find(kTransferRules, error->code);
  if (error) return error->domain == NSCocoaErrorDomain ? find(kFileRules, error->code) : Recovery::never;
  const int status = response ? response->statusCode : 0;
  return status / 100 == 5 ? Recovery::later : find(kStatusRules, status);
}

}  // namespace tq
