#pragma once
int low();
