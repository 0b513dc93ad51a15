#include "delivery/driver.h"

#include <syslog.h>

#include "delivery/genericoder.h"

void ServeRequest() {
  GeneriCoder request;
  if (!request.entryFound) {
    syslog(LOG_ERR, "%s:%d Transcoder cannot find the entry of id=%d", "genericoder", 322,
           request.id);
    return;
  }
  if (request.Open() != 0) {
    request.WriteHeaders();
    syslog(LOG_ERR, "%s:%d Transcoder cannot open %s", "genericoder", 318, request.path.c_str());
    return;
  }
  request.AddHeader("transferMode.dlna.org", "Streaming");
  request.AddHeader("Accept-Ranges", "bytes");
  request.WriteHeaders();
  if (request.isGetRequest == 1) {
    request.Stream();
  } else {
    request.Close();
  }
}
