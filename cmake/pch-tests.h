// What nearly every test needs beside the libraries' own precompiled header. Nothing may depend on this file.
#pragma once

#include "cmake/pch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
