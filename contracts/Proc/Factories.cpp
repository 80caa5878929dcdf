#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IFilterFactoryRegistrator.h"
#include "contracts/Proc/IPTSRestorer.h"

namespace Tarsel::Proc {

IFilterFactoryRegistrator::~IFilterFactoryRegistrator() = default;
IEffectFactory::~IEffectFactory() = default;
IAlgorithmFactory::~IAlgorithmFactory() = default;
IFilterFactory::~IFilterFactory() = default;
CodecParsers::IPTSRestorer::~IPTSRestorer() = default;

}  // namespace Tarsel::Proc
