// BaseMsgID: a message identifier with its arguments.
#include <resource_core/BaseMsgID.hpp>
#include <utility>

namespace resource_core {

BaseMsgID::BaseMsgID(std::string component, std::string identifier, std::vector<Argument> arguments)
    : arguments_(std::move(arguments)),
      component_(std::move(component)),
      identifier_(std::move(identifier)) {}

BaseMsgID::~BaseMsgID() = default;

}  // namespace resource_core
