#pragma once

/** The files of the simulated unit's state and record. docs/simulator.md describes them. */
namespace paths
{
constexpr auto folder = "/run/unit/";

constexpr auto board = "/run/unit/board";
constexpr auto busTrace = "/run/unit/bus-trace";
constexpr auto calls = "/run/unit/calls";
constexpr auto canned = "/run/unit/canned";
constexpr auto clock = "/run/unit/clock";
constexpr auto commands = "/run/unit/commands";
constexpr auto events = "/run/unit/events";
constexpr auto registerWrites = "/run/unit/register-writes";
constexpr auto scenario = "/run/unit/scenario";
constexpr auto standardError = "/run/unit/stderr";
}
