#include "base/body.h"

#include <unistd.h>

namespace devserver {

FileBody::~FileBody() {
    ::close(m_descriptor);
}

}  // namespace devserver
