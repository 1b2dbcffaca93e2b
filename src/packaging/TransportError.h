// The one place where a failure of libcurl becomes an error of ours.
#pragma once

#include "packaging/UploadError.h"

#include <curl/curl.h>

/// How a transfer failed.
struct TransportFailure {
    CURLcode code = CURLE_OK;
    /// The result of the certificate check (OpenSSL's X509_V_ERR_ values).
    long verifyResult = 0;
    /// The system's error number of the last failed connection attempt; 0 when there is none.
    long systemError = 0;
    /// Whether any network interface was up.
    bool hasNetwork = true;
};

UploadError transportError(const TransportFailure &failure);

/// An error of the transport's domain with its sentence.
UploadError transportError(int code);
