target_sources(vireon_net PRIVATE win32/winsock.cpp)
target_link_libraries(vireon_net PUBLIC ws2_32)
