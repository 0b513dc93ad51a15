#pragma once

/// Serves the one request that the CGI environment describes: header block and body on standard
/// output, failures in the log. An unknown item gets no output at all. The process's exit status
/// is 0 whatever happened.
void ServeRequest();
