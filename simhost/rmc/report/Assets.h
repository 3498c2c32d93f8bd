// The files page.html, page.css and page.js of this folder, which the build turns into texts
// (cmake/PageAssets.cmake).
#pragma once

namespace simhost {

extern const char pageTemplate[];
extern const char pageStyle[];
extern const char pageScript[];
// As a content security policy names them: "sha256-" and the hash in base64.
extern const char pageStyleHash[];
extern const char pageScriptHash[];

}  // namespace simhost
