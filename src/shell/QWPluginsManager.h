#pragma once
#include "platform/Object.h"
class QWPluginsManager { public: static QWPluginsManager& sharedManager(); std::vector<const qw::Class*> pluginsOfType(const qw::Class&); };
