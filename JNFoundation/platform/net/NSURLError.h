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
  /// Nobody knows why.
  NSURLErrorUnknown = -1,

  /// An extension's background transfer has nowhere to put what it loads.
  NSURLErrorBackgroundSessionRequiresSharedContainer = -995,
  /// Another process has the background transfer.
  NSURLErrorBackgroundSessionInUseByAnotherProcess = -996,
  /// The application was ended during a background transfer.
  NSURLErrorBackgroundSessionWasDisconnected = -997,
  /// Somebody did not want it any more.
  NSURLErrorCancelled = -999,
  /// The address is none.
  NSURLErrorBadURL = -1000,
  /// Nothing came for as long as the request would wait.
  NSURLErrorTimedOut = -1001,
  /// Nothing can load addresses of that scheme.
  NSURLErrorUnsupportedURL = -1002,
  /// The host's name has no address.
  NSURLErrorCannotFindHost = -1003,
  /// The host is there, and does not take the connection.
  NSURLErrorCannotConnectToHost = -1004,
  /// The connection broke off while the answer came.
  NSURLErrorNetworkConnectionLost = -1005,
  /// The host's name could not be looked up.
  NSURLErrorDNSLookupFailed = -1006,
  /// One redirection led to the next for too long.
  NSURLErrorHTTPTooManyRedirects = -1007,
  /// What was asked for cannot be had.
  NSURLErrorResourceUnavailable = -1008,
  /// The device is offline.
  NSURLErrorNotConnectedToInternet = -1009,
  /// The server redirects to where nothing is.
  NSURLErrorRedirectToNonExistentLocation = -1010,
  /// What the server says makes no sense.
  NSURLErrorBadServerResponse = -1011,
  /// Whoever was asked for a password gave none.
  NSURLErrorUserCancelledAuthentication = -1012,
  /// A password is wanted.
  NSURLErrorUserAuthenticationRequired = -1013,
  /// The server promised something, and sent nothing.
  NSURLErrorZeroByteResource = -1014,
  /// The answer's bytes are not in the encoding that it says.
  NSURLErrorCannotDecodeRawData = -1015,
  /// The answer's content is not in the encoding that it says.
  NSURLErrorCannotDecodeContentData = -1016,
  /// The answer is not of the protocol's form.
  NSURLErrorCannotParseResponse = -1017,
  /// The only network is a foreign one, which is not to be used.
  NSURLErrorInternationalRoamingOff = -1018,
  /// The mobile network carries no data during a call.
  NSURLErrorCallIsActive = -1019,
  /// The mobile network may not carry the data.
  NSURLErrorDataNotAllowed = -1020,
  /// The body was to be sent once more, and could not be read again.
  NSURLErrorRequestBodyStreamExhausted = -1021,
  /// The application may only use encrypted connections.
  NSURLErrorAppTransportSecurityRequiresSecureConnection = -1022,

  /// There is no file at a "file" address.
  NSURLErrorFileDoesNotExist = -1100,
  /// A "file" address is that of a directory.
  NSURLErrorFileIsDirectory = -1101,
  /// The file may not be read.
  NSURLErrorNoPermissionsToReadFile = -1102,
  /// There is more than may be loaded.
  NSURLErrorDataLengthExceedsMaximum = -1103,
  /// The file is where none may be read.
  NSURLErrorFileOutsideSafeArea = -1104,

  /// No encrypted connection came about.
  NSURLErrorSecureConnectionFailed = -1200,
  /// The server's certificate has run out or is not valid yet.
  NSURLErrorServerCertificateHasBadDate = -1201,
  /// A root that is not trusted has signed the server's certificate.
  NSURLErrorServerCertificateUntrusted = -1202,
  /// No known root has signed the server's certificate.
  NSURLErrorServerCertificateHasUnknownRoot = -1203,
  /// The server's certificate is for later.
  NSURLErrorServerCertificateNotYetValid = -1204,
  /// The server does not take the certificate that it was shown.
  NSURLErrorClientCertificateRejected = -1205,
  /// The server wants to be shown a certificate.
  NSURLErrorClientCertificateRequired = -1206,

  /// Only a cache was to be asked, and it has nothing.
  NSURLErrorCannotLoadFromNetwork = -2000,

  /// The file of a download could not be made.
  NSURLErrorCannotCreateFile = -3000,
  /// The file of a download could not be opened.
  NSURLErrorCannotOpenFile = -3001,
  /// The file of a download could not be closed.
  NSURLErrorCannotCloseFile = -3002,
  /// The file of a download could not be written to.
  NSURLErrorCannotWriteToFile = -3003,
  /// The file of a download could not be removed.
  NSURLErrorCannotRemoveFile = -3004,
  /// The file of a download could not be moved.
  NSURLErrorCannotMoveFile = -3005,
  /// A download could not be decoded while it came.
  NSURLErrorDownloadDecodingFailedMidStream = -3006,
  /// A download could not be decoded when it had come.
  NSURLErrorDownloadDecodingFailedToComplete = -3007,
};

}  // namespace JNFoundation
