#pragma once

/// The names of the writers' log channels: of the debug switches that show all lines of one
/// (`PluginEnvironment::enableDebugLoggingFor`).
inline constexpr const char* kTextChannel = "text-writer-plugin";
inline constexpr const char* kContinuousChannel = "continuous_writer";
inline constexpr const char* kBinaryChannel = "binarywriter";
inline constexpr const char* kIterChannel = "iter";
inline constexpr const char* kLogChannels[] = {kTextChannel, kContinuousChannel, kBinaryChannel,
                                               kIterChannel};
