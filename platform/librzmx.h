// Authentication toolkit: who may sign on where, the lists drawn from there, and lock-free stacks.
#pragma once

#include "platform/librzmxlists.h"
#include "platform/librzmxstack.h"
#include "platform/librzmxsubject.h"
