#version 330 core

in vec2 uv;
out vec4 pixel;

uniform int width;
uniform int height;
uniform vec4 color;
uniform vec2 point;

void main() {
  float away = length((uv - point) * vec2(float(width) / float(height), 1.0));
  float spot = 1.0 - smoothstep(0.05, 0.06, away);
  pixel = mix(color, vec4(1.0 - color.rgb, color.a), spot);
}
