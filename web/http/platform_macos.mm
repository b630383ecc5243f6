#include "web/http/peer.h"

namespace tvn {

bool system_tells_peers() {
  return false;
}

bool peer_is_other_user(int) {
  return true;
}

}  // namespace tvn
