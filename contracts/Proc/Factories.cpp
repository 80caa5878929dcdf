#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IFilterFactoryRegistrator.h"

namespace Tarsel::Proc {

IFilterFactoryRegistrator::~IFilterFactoryRegistrator() = default;
IEffectFactory::~IEffectFactory() = default;
IAlgorithmFactory::~IAlgorithmFactory() = default;
IFilterFactory::~IFilterFactory() = default;

}  // namespace Tarsel::Proc
