#include "nuvra/message.h"

#include "framework/message_text.h"

namespace Nuvra {

TCData::TCData() : body(Json::objectValue) {}

std::string TCData::GetMessage() const { return host::WriteBody(body); }

}  // namespace Nuvra
