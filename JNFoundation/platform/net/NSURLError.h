#pragma once

#include <JNFoundation/platform/value/Types.h>

namespace JNFoundation::inline v0_1 {

/// The domain of errors about loading an address; its codes are below. What caused such an error
/// stands in its details under NSUnderlyingErrorKey, see NSError.
inline constexpr const char* NSURLErrorDomain = "NSURLErrorDomain";

// In the details of an error: the address that could not be loaded, as an NSURL and as text.
inline constexpr const char* NSURLErrorFailingURLErrorKey = "NSErrorFailingURLKey";
inline constexpr const char* NSURLErrorFailingURLStringErrorKey = "NSErrorFailingURLStringKey";

/// Why an address could not be loaded. The numbers are the platform's.
enum NSURLErrorCode : NSInteger {
  NSURLErrorUnknown = -1,

  NSURLErrorBackgroundSessionRequiresSharedContainer = -995,
  NSURLErrorBackgroundSessionInUseByAnotherProcess = -996,
  NSURLErrorBackgroundSessionWasDisconnected = -997,
  NSURLErrorCancelled = -999,
  NSURLErrorBadURL = -1000,
  NSURLErrorTimedOut = -1001,
  NSURLErrorUnsupportedURL = -1002,
  NSURLErrorCannotFindHost = -1003,
  NSURLErrorCannotConnectToHost = -1004,
  NSURLErrorNetworkConnectionLost = -1005,
  NSURLErrorDNSLookupFailed = -1006,
  NSURLErrorHTTPTooManyRedirects = -1007,
  NSURLErrorResourceUnavailable = -1008,
  /// The device is offline.
  NSURLErrorNotConnectedToInternet = -1009,
  NSURLErrorRedirectToNonExistentLocation = -1010,
  NSURLErrorBadServerResponse = -1011,
  NSURLErrorUserCancelledAuthentication = -1012,
  NSURLErrorUserAuthenticationRequired = -1013,
  NSURLErrorZeroByteResource = -1014,
  NSURLErrorCannotDecodeRawData = -1015,
  NSURLErrorCannotDecodeContentData = -1016,
  NSURLErrorCannotParseResponse = -1017,
  NSURLErrorInternationalRoamingOff = -1018,
  NSURLErrorCallIsActive = -1019,
  NSURLErrorDataNotAllowed = -1020,
  NSURLErrorRequestBodyStreamExhausted = -1021,
  NSURLErrorAppTransportSecurityRequiresSecureConnection = -1022,

  NSURLErrorFileDoesNotExist = -1100,
  NSURLErrorFileIsDirectory = -1101,
  NSURLErrorNoPermissionsToReadFile = -1102,
  NSURLErrorDataLengthExceedsMaximum = -1103,
  NSURLErrorFileOutsideSafeArea = -1104,

  NSURLErrorSecureConnectionFailed = -1200,
  NSURLErrorServerCertificateHasBadDate = -1201,
  NSURLErrorServerCertificateUntrusted = -1202,
  NSURLErrorServerCertificateHasUnknownRoot = -1203,
  NSURLErrorServerCertificateNotYetValid = -1204,
  NSURLErrorClientCertificateRejected = -1205,
  NSURLErrorClientCertificateRequired = -1206,

  NSURLErrorCannotLoadFromNetwork = -2000,

  NSURLErrorCannotCreateFile = -3000,
  NSURLErrorCannotOpenFile = -3001,
  NSURLErrorCannotCloseFile = -3002,
  NSURLErrorCannotWriteToFile = -3003,
  NSURLErrorCannotRemoveFile = -3004,
  NSURLErrorCannotMoveFile = -3005,
  NSURLErrorDownloadDecodingFailedMidStream = -3006,
  NSURLErrorDownloadDecodingFailedToComplete = -3007,
};

}  // namespace JNFoundation
